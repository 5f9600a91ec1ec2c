// I3C targets that are configured otherwise than those of the bench, by the bytes of their answers.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "devices/i3c_target.hpp"
#include "model/ccc.hpp"
#include "model/command_table.hpp"
#include "model/i3c.hpp"
#include "model/refusal.hpp"
#include "support/bytes.hpp"

namespace {

using Identity = sim::I3cIdentity;

// Every feature, and no value that is a default.
const Identity FULL{
    .staticAddress = 0x2A,
    .pid = {0x04, 0xD2, 0x00, 0x01, 0x20, 0x03},
    .bcr = 0x37,
    .dcr = 0x44,
    .registers = Bytes(256, 0xE0),
    .eventTriggers = false,
    .mandatoryByte = 0x9C,
    .maxWriteLength = 3,
    .maxReadLength = 2,
    .maxIbiPayload = 1,
    .capabilities = {0x00, 0x31, 0x18},
    .maxDataSpeed = {0x02, 0x0B, 0x10, 0x20, 0x30},
    .timingModes = 0x04,
    .clock = 0x20,
    .clockInaccuracy = 0x05,
    .peripheralResetTime = 0x41,
    .wholeResetTime = 0x42,
    .debugResetTime = 0x43,
    .virtualTargetIndication = 0x44,
};

// As little as a target can have.
const Identity PLAIN{
    .staticAddress = 0,
    .pid = {0x04, 0xD2, 0x00, 0x01, 0x20, 0x04},
    .bcr = 0x00,
    .dcr = 0x00,
    .registers = {0xC1, 0xC2},
    .capabilities = {},
    .timingModes = 0,
};

// The adapter's I3C commands on a bus with these two, at the addresses 8 and 9.
class I3cTargetTest : public testing::Test {
protected:
    I3cTargetTest()
    {
        sim::addI3cCommands(table, i3c);
        sim::addCccCommands(table, bus);
        for (const char* request : {"01 19 00 00 00 00", "04 19 00", "09 19 7E 00 00 07 00"}) {
            ask(request);
        }
    }

    // The data of the answer; of a refused request, its status.
    std::string ask(const std::string& text)
    {
        const Bytes frame = hex("01 00 " + text);
        sim::Request request(frame);
        const auto* row = table.find(request.code());
        sim::OutputFrame response(1, request.code(), row->dataOffset);
        try {
            row->execute(request, response);
        } catch (const sim::Refusal& refusal) {
            return "status " + std::to_string(static_cast<unsigned>(refusal.status));
        }
        return hexOf(part(response.bytes(), row->dataOffset, response.bytes().size()));
    }

    sim::I3cTarget full{FULL};
    sim::I3cTarget plain{PLAIN};
    sim::Notifications notifications;
    sim::I3cBus bus{{&full, &plain}, {}, notifications};
    sim::I3c i3c{bus};
    sim::CommandTable table;
};

const std::string NACK = "status 769";

// Each request goes to the full target at 0x08, then to the plain one at 0x09.
TEST_F(I3cTargetTest, AnswersWhatItWasGivenAndRefusesWhatItLacks)
{
    const std::tuple<std::string, std::string, std::string> cases[]{
        {"09 19 08 01 02 8B 00", "00 03", "01 00"},
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
    };
    for (const auto& [request, ofFull, ofPlain] : cases) {
        EXPECT_EQ(ask(request), ofFull) << request;
        const bool isBroadcast = request.substr(6, 2) == "7E";
        EXPECT_EQ(ask(isBroadcast ? request : request.substr(0, 6) + "09" + request.substr(8)), ofPlain) << request;
    }
    EXPECT_TRUE(notifications.take().empty());
}

TEST_F(I3cTargetTest, ResetsToItsOwnValues)
{
    const std::pair<std::string, std::string> steps[]{
        {"09 19 7E 00 02 09 00 01 00", ""}, // SETMWL
        {"08 19 09 00 00 01 00 00 00 00 01 00 D1", ""},
        {"09 19 7E 10 01 2A 02", ""},
        {"0A 19 00", ""},
        {"08 19 00 05 00 00 00 00 00 00 01 00", NACK}, // no static address is not address 0
        {"09 19 7E 00 00 07 00", ""},
        {"09 19 08 01 02 8B 00", "00 03"},
        {"08 19 09 01 00 01 00 00 00 00 01 00", "C1"},
    };
    for (const auto& [request, answer] : steps) {
        EXPECT_EQ(ask(request), answer) << request;
    }
}

TEST_F(I3cTargetTest, InterruptsCarryTheMandatoryByteAndStayWithinTheLimit)
{
    EXPECT_TRUE(bus.raiseInBandInterrupt(full, {}));
    EXPECT_TRUE(bus.raiseInBandInterrupt(full, hex("A1 A2")));
    EXPECT_FALSE(bus.raiseInBandInterrupt(plain, {}));
    EXPECT_EQ(notifications.take(),
              (std::vector{hex("00 00 81 19 00 00 08 01 9C"), hex("00 00 81 19 00 00 08 01 A1")}));
}

TEST(I3cIdentity, MayNotContradictItself)
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
    for (const auto& [why, damage] : cases) {
        Identity identity = FULL;
        ASSERT_EQ(sim::contradiction(identity), nullptr);
        damage(identity);
        const char* const found = sim::contradiction(identity);
        EXPECT_NE(std::string(found ? found : "nothing").find(why), std::string::npos) << why;
    }
}

} // namespace
