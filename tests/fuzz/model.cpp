// Any requests and events for the virtual adapter: it answers whatever it is asked, while it is on the bus.
#include "commands.hpp"
#include "fuzz.hpp"
#include "support/bench.hpp"
#include "virtual_adapter.hpp"

enum Operation { REQUEST, FOREIGN_REQUEST, INTERRUPT, HOT_JOIN };

// Brings up everything that refuses to work before.
static const std::vector<Bytes> SETUP{hex("01 00 01 09 00 80 1A 06 00 00"),
                                      hex("01 00 01 09 01 80 1A 06 00 00"),
                                      hex("01 00 01 0D 00 00 00 00 00 40 42 0F 00"),
                                      hex("01 00 02 10 07 00 00 03 00"),
                                      hex("01 00 01 19 00 00 00 00"),
                                      hex("01 00 04 19 00"),
                                      hex("01 00 09 19 7E 00 00 07 00")};

// For an input whose first byte has bit 7.
static const sim::AdapterBoard& ownBoard()
{
    static const sim::AdapterBoard board = sim::parseBoard("board.json", R"({"version": 1, "adapters": [{
        "i2c": [{"devices": {
            "0x19": {"type": "register_map", "name": "imu", "register_bits": 16, "size": 20,
                     "samples": [{"registers": [16], "value_bits": 32, "values": [1, 2],
                                  "ready": {"register": 1, "bits": 1}}],
                     "interrupt": {"register": 1}},
            "0x1a": {"type": "register_map", "address_bytes": 2, "auto_increment": "top_bit", "size": 3,
                     "registers": {"0-2": {"read_only": 1, "write_1_to_clear": 2, "clear_on_read": 4}},
                     "samples": [{"registers": [2], "values": [1, 2], "every_ms": 10}]},
            "0x20": {"type": "gpio_expander", "name": "io", "lines": 16,
                     "faults": {"nack": 2, "nack_probability": 0.5, "stretch_ms": 1, "flip_bits": 0.1}},
            "0x50": {"type": "eeprom", "name": "rom", "size": 1536, "page": 3, "address_bytes": 1, "write_ms": 3}}}],
        "gpio": {"wires": [{"pins": [0], "lines": ["imu.interrupt", "io.3"], "resets": ["rom"]},
                           {"pins": [1], "lines": ["io.15", "io.interrupt"]}]}}]})")
                                               .front();
    return board;
}

void fuzz::run(Input input)
{
    Bytes head; // of the first frame that it sends
    static const sim::AdapterBoard board = sim::defaultBoard().front();
    const unsigned first = input.u8();
    StillWorld world;
    sim::VirtualAdapter adapter(first < 0x80 ? board : ownBoard(), world, [&head](const sim::Frame& frame) {
        require(frame.size() >= 6, "a frame holds id, code and status");
        head = head.empty() ? part(frame, 0, 6) : head;
    });
    if (first % 2 != 0) {
        std::ranges::for_each(SETUP, [&](const Bytes& request) { adapter.request(request); });
    }
    for (int operations = 0; !input.empty() && operations < 16; ++operations) { // so a run is short
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
            head.clear();
            adapter.request(request);
            const bool answers = adapter.presence() == sim::Presence::ON_BUS && request.size() >= 4;
            require(answers == !head.empty(), "a whole request is answered while the adapter is on the bus");
            require(!answers || part(head, 0, 4) == part(request, 0, 4), "the answer is the request's");
            require(!answers || operation != REQUEST || head[4] != 0x01 || head[5] != 0x01, "every command is known");
        }
        world.pass(std::chrono::milliseconds(which));
        if (adapter.presence() != sim::Presence::ON_BUS) {
            adapter.powerUp();
        }
    }
}
