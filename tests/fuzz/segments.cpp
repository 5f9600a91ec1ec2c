// Reports in any order, with any header, joined and handed out.
#include "fuzz.hpp"
#include "golden/golden.hpp"
#include "ports/shared/report_codec.hpp"
#include "tarvixsdk/sdk.hpp"

// Options, then for each report how often it comes, its header and its bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const unsigned options = input.u8();
    const bool strict = (options & 1) != 0;
    fuzz::Adapter::instance() = {.reportSize = (options & 2) != 0 ? 1024U : 64U};
    const std::size_t reportSize = fuzz::Adapter::instance().reportSize;

    TarvixSDK sdk(0);
    std::optional<Bytes> notified;
    sdk.onNotification([&](const Notification& n) { notified.emplace(n.data, n.data + n.length); });
    fuzz::require(static_cast<bool>(sdk.open({.strict = strict})), "a session opens");
    sim::FrameJoiner joiner; // the virtual adapter's, which was written apart
    while (!input.empty()) {
        const unsigned times = input.u8() == 0xFF ? 150 : 1;
        const unsigned header = input.u16();
        const Bytes bytes = input.bytes(std::min<std::size_t>(header >> 2 & 0x3FF, reportSize - 2));
        const Bytes report = padded(
            Bytes{static_cast<std::uint8_t>(header), static_cast<std::uint8_t>(header >> 8)} + bytes, reportSize);
        for (unsigned i = 0; i < times; ++i) {
            notified.reset();
            const std::uint64_t answers = sdk.unmatchedResponses();
            fuzz::deliverReport(report);
            const sim::Frame* const frame = joiner.take(report);
            const bool tells = frame != nullptr && frame->size() >= 4 && (*frame)[0] == 0 && (*frame)[1] == 0;
            const bool answer = frame != nullptr && frame->size() >= 2 && ((*frame)[0] != 0 || (*frame)[1] != 0);
            fuzz::require(!tells || notified == *frame, "a whole notification arrives");
            fuzz::require(tells || !strict || !notified, "a strict session takes no continuation without a beginning");
            fuzz::require(!strict || sdk.unmatchedResponses() - answers == (answer ? 1U : 0U), "so it is with answers");
        }
    }
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    std::vector<Bytes> seeds;
    for (const golden::Row& row : golden::rowsWith(&golden::Row::block)) {
        for (const char* const id : {"00 00 ", "01 00 "}) {
            const Bytes frame = hex(id + row.request.substr(0, 5) + " 00 00 " + row.answer);
            for (const std::uint8_t options : Bytes{0, 1}) {
                Bytes seed{options};
                for (const sim::Report& report : sim::cutIntoReports(frame, 64)) {
                    seed = seed + Bytes{0} + report;
                }
                seeds.push_back(seed);
            }
        }
    }
    return seeds;
}
