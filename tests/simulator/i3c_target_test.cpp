// I3C targets that are configured otherwise than those of the default board, by the bytes of their answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "support/bench.hpp"
#include "support/bytes.hpp"
#include "virtual_adapter.hpp"

namespace {

using Identity = sim::I3cIdentity;

// Every feature, and no value that is a default.
const std::string FULL_TARGET = R"({"static_address": "0x2a", "pid": "hex:04 d2 00 01 20 03", "bcr": "0x37",
    "dcr": "0x44", "event_triggers": false, "mandatory_byte": "0x9c", "max_write_length": 3, "max_read_length": 2,
    "max_ibi_payload": 1, "getcaps": [0, "0x31", "0x18"], "getmxds": "hex:02 0b 10 20 30",
    "getxtime": {"modes": 4, "clock": 32, "inaccuracy": 5},
    "rstact": {"0x81": "0x41", "0x82": "0x42", "0x83": "0x43", "0x84": "0x44"}, "registers": "hex:)";

Identity identityOf(const std::string& target)
{
    StillWorld world;
    const std::string board = R"({"version": 1, "adapters": [{"i3c": {"targets": [)" + target + "]}}]}";
    return sim::parseBoard("board.json", board).front().i3cTargets[0].make(world)->identity();
}

Identity full()
{
    return identityOf(FULL_TARGET + hexOf(Bytes(256, 0xE0)) + R"("})");
}

// As little as a target can have.
const Identity PLAIN{.staticAddress = 0,
                     .pid = {0x04, 0xD2, 0x00, 0x01, 0x20, 0x04},
                     .bcr = 0x00,
                     .dcr = 0x00,
                     .registers = {0xC1, 0xC2},
                     .capabilities = {},
                     .timingModes = 0};

sim::AdapterBoard boardWith(const std::vector<Identity>& identities)
{
    sim::AdapterBoard board = defaultBoardAs("SN-42");
    board.i3cTargets.clear();
    for (const Identity& identity : identities) {
        const auto make = [identity](sim::World&) { return std::make_unique<sim::I3cTarget>(identity); };
        const std::string name = hexOf({identity.pid.back()});
        board.i3cTargets.push_back({.name = name, .type = {}, .lines = {}, .make = make});
    }
    return board;
}

// Each request goes to the full target at 0x08, then to the plain one at 0x09. What comes back is the data, or NACK.
TEST(I3cTarget, AnswersWhatItWasGivenAndRefusesWhatItLacks)
{
    const std::string NACK = "NACK";
    const std::tuple<std::string, std::string, std::string> cases[]{
        {"09 19 08 01 03 8C 00", "00 02 01", "01 00"},
        {"09 19 08 01 05 94 00", "02 0B 10 20 30", NACK},
        {"09 19 08 01 04 95 00", "00 31 18", NACK},
        {"09 19 08 11 04 95 00", "00 31 18", NACK},
        {"09 19 08 11 04 95 91", NACK, NACK},
        {"09 19 08 11 02 90 00", "00 00", NACK},
        {"09 19 08 00 01 98 00 DF", "", NACK}, // asynchronous mode 0, which nobody has
        {"09 19 08 01 04 99 00", "04 00 20 05", NACK},
        {"09 19 08 00 01 98 00 EF", "", NACK},
        {"09 19 08 01 04 99 00", "04 04 20 05", NACK},
        // RSTACT: times and features, then actions.
        {"09 19 08 11 01 9A 81", "41", "01"},
        {"09 19 08 11 01 9A 82", "42", "0A"},
        {"09 19 08 11 01 9A 83", "43", NACK},
        {"09 19 08 11 01 9A 84", "44", NACK},
        {"09 19 08 10 00 9A 04", "", NACK},
        {"09 19 08 11 01 9A 04", "04", NACK},
        {"09 19 7E 10 01 2A 03", "", ""}, // who lacks it ignores it
        {"09 19 08 11 01 9A 00", "03", "01"},
        // Three groups or more are three.
        {"09 19 08 00 01 9B 00 40", "", NACK},
        {"09 19 08 00 01 9B 00 42", "", NACK},
        {"09 19 08 00 01 9B 00 44", "", NACK},
        {"09 19 08 00 01 9B 00 46", NACK, NACK},
        // Registers from the last one on; no HDR-DDR; 0x80 is a register, or triggers what the target cannot.
        {"08 19 08 01 00 01 FF 00 00 00 03 00", "E0 E0", "C2 C1 C2"},
        {"08 19 08 00 00 01 FF 00 00 00 03 00 D1 D2 D3", "", ""},
        {"08 19 08 01 00 01 FF 00 00 00 03 00", "D1 D2", "D3 D2 D3"},
        {"08 19 08 03 00 00 01 00", NACK, NACK},
        {"08 19 08 00 00 01 80 00 00 00 01 00 01", "", ""},
        {"08 19 08 01 00 01 80 00 00 00 01 00", "01", "D2"},
        // A reset of everything brings back what was configured; no static address is not address 0.
        {"09 19 7E 00 02 09 00 01 00", "", ""},
        {"09 19 7E 10 01 2A 02", "", ""},
        {"0A 19 00", "", ""},
        {"08 19 00 05 00 00 00 00 00 00 01 00", NACK, NACK},
        {"09 19 7E 00 00 07 00", "", ""},
        {"09 19 08 01 02 8B 00", "00 03", "01 00"},
        {"08 19 08 01 00 01 FF 00 00 00 02 00", "E0 E0", "C2 C1"},
    };
    StillWorld world;
    std::vector<Bytes> sent;
    sim::VirtualAdapter adapter(boardWith({full(), PLAIN}), world, [&](const Bytes& frame) { sent.push_back(frame); });
    const auto ask = [&](const std::string& request) {
        sent.clear();
        adapter.request(hex("01 00 " + request));
        const Bytes answer = padded(sent.at(0), std::max<std::size_t>(sent.at(0).size(), 10));
        return hexOf(part(answer, 4, 6)) == "01 03" ? "NACK" : hexOf(part(answer, 10, answer.size()));
    };
    for (const char* request : {"01 19 00 00 00 00", "04 19 00", "09 19 7E 00 00 07 00"}) {
        ask(request);
    }
    for (auto [request, ofFull, ofPlain] : cases) {
        EXPECT_EQ(ask(request), ofFull) << request;
        request.replace(6, 2, request.substr(6, 2) == "08" ? "09" : request.substr(6, 2));
        EXPECT_EQ(ask(request), ofPlain) << request;
        EXPECT_EQ(sent.size(), 1) << request << " raised an event";
    }
    sent.clear();
    EXPECT_TRUE(adapter.raiseInBandInterrupt(0, {}));
    EXPECT_TRUE(adapter.raiseInBandInterrupt(0, hex("A1 A2")));
    EXPECT_FALSE(adapter.raiseInBandInterrupt(1, {}));
    EXPECT_EQ(sent, (std::vector{hex("00 00 81 19 00 00 08 01 9C"), hex("00 00 81 19 00 00 08 01 A1")}));
}

TEST(I3cTarget, IsRefusedWhenItContradictsItself)
{
    const std::tuple<std::string, void (*)(Identity&)> cases[]{
        {"1 to 256 registers", [](Identity& i) { i.registers.clear(); }},
        {"1 to 256 registers", [](Identity& i) { i.registers.resize(257); }},
        {"to 128 with the event triggers", [](Identity& i) { i.eventTriggers = true; }},
        {"GETCAPS has at most 4 bytes", [](Identity& i) { i.capabilities.resize(5); }},
        {"needs bit 1", [](Identity& i) { i.bcr = 0x34; }},
        {"announces needs bit 5", [](Identity& i) { i.bcr = 0x17; }},
        {"needs GETCAPS", [](Identity& i) { i.capabilities.clear(); }},
        {"needs bit 4", [](Identity& i) { i.bcr = 0x27; }},
    };
    EXPECT_EQ(sim::contradiction(PLAIN), nullptr);
    for (const auto& [why, damage] : cases) {
        Identity identity = full();
        damage(identity);
        const char* const found = sim::contradiction(identity);
        EXPECT_NE(std::string(found ? found : "nothing").find(why), std::string::npos) << why;
    }
}

} // namespace
