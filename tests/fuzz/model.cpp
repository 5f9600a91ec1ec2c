// Any requests and events for the virtual adapter: it answers whatever it is asked, while it is on the bus.
#include <memory>
#include <utility>

#include "commands.hpp"
#include "fuzz.hpp"
#include "golden/golden.hpp"
#include "virtual_adapter.hpp"

namespace {

enum Operation : std::uint8_t { REQUEST, FOREIGN_REQUEST, INTERRUPT, HOT_JOIN };

// Brings up everything that refuses to work before.
const std::vector<Bytes> SETUP{
    hex("01 00 01 09 00 80 1A 06 00 00"),
    hex("01 00 01 09 01 80 1A 06 00 00"),
    hex("01 00 01 0D 00 00 00 00 00 40 42 0F 00"),
    hex("01 00 02 10 07 00 00 03 00"),
    hex("01 00 01 19 00 00 00 00"),
    hex("01 00 04 19 00"),
    hex("01 00 09 19 7E 00 00 07 00"),
};

std::vector<Bytes> sent;

std::unique_ptr<sim::VirtualAdapter> newAdapter()
{
    return std::make_unique<sim::VirtualAdapter>("TVX0000001", [](const sim::Frame& frame) {
        sent.push_back(frame);
        fuzz::require(frame.size() >= 6, "a frame holds id, code and status");
    });
}

bool mayWrite(const Bytes& request)
{
    const auto code = static_cast<CommandCode>(request[2] | request[3] << 8);
    return code == CommandCode::I2C_WRITE || code == CommandCode::SPI_TRANSFER ||
           code == CommandCode::I3C_PRIVATE_TRANSFER;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    static std::unique_ptr<sim::VirtualAdapter> kept = newAdapter();
    sim::VirtualAdapter& adapter = *kept;
    bool written = false;
    if (input.u8() % 2 != 0) {
        std::ranges::for_each(SETUP, [&](const Bytes& request) { adapter.request(request); });
    }
    while (!input.empty()) {
        const unsigned operation = input.u8() % 4;
        const unsigned which = input.u8();
        const Bytes bytes = input.counted();
        if (operation == INTERRUPT) {
            adapter.raiseInBandInterrupt(which, bytes);
        } else if (operation == HOT_JOIN) {
            adapter.raiseHotJoin(which);
        } else {
            const auto code = static_cast<unsigned>(COMMANDS[which % COMMANDS.size()].code);
            const Bytes known{1, 0, static_cast<std::uint8_t>(code), static_cast<std::uint8_t>(code >> 8)};
            const Bytes request = operation == REQUEST ? known + bytes : bytes;
            sent.clear();
            adapter.request(request);
            const bool answers = adapter.presence() == sim::Presence::ON_BUS && request.size() >= 4;
            fuzz::require(answers == !sent.empty(), "a whole request is answered while the adapter is on the bus");
            fuzz::require(!answers || part(sent[0], 0, 4) == part(request, 0, 4), "the answer is the request's");
            written = written || (answers && sent[0][4] == 0 && sent[0][5] == 0 && mayWrite(request));
            const bool unknown = answers && sent[0][4] == 0x01 && sent[0][5] == 0x01;
            fuzz::require(operation != REQUEST || !unknown, "every command is known");
        }
        if (adapter.presence() != sim::Presence::ON_BUS) {
            adapter.powerUp();
        }
    }
    // A new one costs its flash chip of 1 MiB. Powered up afresh it is like new but for what its memories keep.
    if (written) {
        kept = newAdapter();
    } else {
        adapter.powerUp();
    }
    sent = {};
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    std::vector<Bytes> seeds{hex("01 02 00 02 01 02"), hex("01 03 01 00")};
    for (const golden::Row& row : golden::everyRow()) {
        Bytes request = hex("01 00 " + row.request);
        if (row.request.starts_with("09 19 3")) {
            request[4] = 8; // a target that there is
        }
        for (const std::uint8_t setup : Bytes{0, 1}) {
            seeds.push_back(Bytes{setup, FOREIGN_REQUEST, 0} + counted(request));
        }
    }
    return seeds;
}
