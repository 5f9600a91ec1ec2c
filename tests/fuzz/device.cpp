// What a device's program says to tarvix-sim, in pieces of any size.
#include "fuzz.hpp"
#include "process/protocol.hpp"

void fuzz::run(Input input)
{
    sim::protocol::Lines lines;
    std::string whole;
    std::string cut;
    while (!input.empty()) {
        const Bytes piece = input.counted();
        whole.append(piece.begin(), piece.end());
        require(lines.add({reinterpret_cast<const char*>(piece.data()), piece.size()}), "a short line is taken");
        while (const auto line = lines.next()) {
            cut += *line + '\n';
            const auto message = sim::protocol::parse(*line);
            const auto* const data = message ? std::get_if<sim::protocol::Data>(&*message) : nullptr;
            require(!data || 2 * data->bytes.size() < line->size(), "every byte was said");
        }
    }
    require(cut == whole.substr(0, whole.rfind('\n') + 1), "lines are all that came");
}
