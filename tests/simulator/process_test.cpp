// Devices that are programs: what they answer reaches the bus, and whatever else they do, the adapter lives on.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "process/process_device.hpp"
#include "support/bench.hpp"
#include "support/bytes.hpp"

namespace {

using namespace std::chrono_literals;

const std::string GREETS = R"(read -r line; echo '{"version": 1}'; )";
const std::string ACKNOWLEDGES = R"(read -r line; echo '{"ack": true}'; )";

class ProcessTest : public testing::Test {
protected:
    ProcessTest() { std::signal(SIGPIPE, SIG_IGN); } // as the program does

    sim::Process::Settings settings(const std::string& script, const char* bus, std::chrono::milliseconds timeout = 30s)
    {
        return {.name = "own", .bus = bus, .command = {{"sh", "-c", script}, "/"}, .timeout = timeout};
    }

    StillWorld world;
};

TEST_F(ProcessTest, CarriesWhatIsSaidOnEachBus)
{
    const std::string script = GREETS +
                               R"(while read -r line; do printf '%s\n' "$line" >&2; case $line in
           *'"read"'*) echo '{"bytes": [7, 255]}' ;;
           *'[66]'*|*reset*) echo '{"interrupt": true}'; echo '{"ack": false}' ;;
           *exchange*) echo '{"bytes": [1, 2]}' ;;
           *receive*) echo '{"send": [79, 75]}'; echo '{"ack": true}' ;;
           *) echo '{"interrupt": false}'; echo '{"ack": true}' ;; esac; done)";
    sim::Wire wire;
    testing::internal::CaptureStderr();
    {
        sim::ProcessBusDevice device(settings(script, "i2c"), world, sim::Hold::DRIVE_LOW, sim::Hold::PULL_HIGH);
        device.connect("interrupt", sim::WireEnd(wire));
        device.powerCycle(); // starts it
        EXPECT_TRUE(wire.isHigh());
        EXPECT_FALSE(device.write(hex("42")));
        EXPECT_FALSE(wire.isHigh());
        EXPECT_TRUE(device.write({}));
        EXPECT_TRUE(wire.isHigh());
        Bytes read = hex("EE EE EE");
        EXPECT_EQ(device.read(read), 2u);
        EXPECT_EQ(hexOf(read), "07 FF EE");
        device.reset();
        EXPECT_FALSE(wire.isHigh());
        device.powerCycle();
        EXPECT_TRUE(wire.isHigh());

        sim::ProcessSpiDevice spi(settings(script, "spi"), world, {}, {});
        EXPECT_EQ(hexOf(spi.exchange(hex("03 04"))), "01 02");

        sim::ProcessUartPeer uart(settings(script, "uart"), world, {}, {});
        std::string sent;
        uart.onSend([&](auto bytes) { sent.append(bytes.begin(), bytes.end()); });
        uart.receive(hex("41 54"));
        EXPECT_EQ(sent, "OK");
    }
    EXPECT_EQ(world.told, std::vector<std::string>{});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "{\"do\":\"write\",\"bytes\":[66]}\n"
                                                      "{\"do\":\"write\",\"bytes\":[]}\n"
                                                      "{\"do\":\"read\",\"count\":3}\n"
                                                      "{\"do\":\"reset\"}\n"
                                                      "{\"do\":\"power_cycle\"}\n"
                                                      "{\"do\":\"exchange\",\"bytes\":[3,4]}\n"
                                                      "{\"do\":\"receive\",\"bytes\":[65,84]}\n");
}

TEST_F(ProcessTest, AFailureIsToldOnceAndAcknowledgesNothingUntilThePowerReturns)
{
    const struct {
        std::string script;
        const char* told;
        std::size_t written = 1;
        std::chrono::milliseconds timeout = 30s;
    } cases[]{
        {"exit 3", R"(ended with status 3 when asked \{"do":"write","bytes":\[0\]\}; expected \{"version": 1\})"},
        {R"(read -r line; echo '{"version": 2}'; sleep 1000)", R"(answered \{"version": 2\}.*; expected .*1\})"},
        {GREETS + "read -r line; kill -9 $$", R"(ended by signal 9 \(Killed\) when .*; expected \{"ack": true\}.*)"},
        {GREETS + "read -r line; sleep 1000", "took more than 20 ms when asked .*", 1, 20ms},
        {GREETS + "sleep 1000", "took more than 20 ms when asked .*", 60'000,
         20ms}, // takes nothing, and the pipe fills
        {GREETS + "exec >&-; sleep 1000", "closed its output when asked .*"},
        {GREETS + "echo hello; sleep 1000", "said 'hello', which is no message of a device on i2c, when asked .*"},
        {GREETS + R"(echo '{"send": [1]}'; sleep 1000)", R"(said '\{"send": \[1\]\}', which is no message.*)"},
        {GREETS + R"(echo '{"bytes": []}'; sleep 1000)",
         R"(answered \{"bytes": \[\]\} (before it was )?when asked .*)"},
        {GREETS + R"(read -r line; printf '{"ack": true}\n{"ack": true}\n'; sleep 1000)",
         "answered .* before it was .*"},
        {GREETS + ACKNOWLEDGES + R"(read -r line; echo '{"bytes": [1, 2, 3]}'; sleep 1000)",
         R"(answered \{"bytes": \[1, 2, 3\]\} when asked .*; expected .* up to 2 bytes, or \{"ack": false\})"},
        {GREETS + ACKNOWLEDGES + R"(read -r line; echo '{"bytes": [256]}'; sleep 1000)", "said '.*256.*', which is.*"},
        {GREETS + ACKNOWLEDGES + "head -c 600000 /dev/zero; sleep 1000", "said a line of more than 524288 bytes .*"},
        {GREETS + R"(yes '{"interrupt": true}')", "said more than 10000 lines.*"},
        {"cd /nowhere 2> /dev/null || exec /nowhere/own 2> /dev/null", "ended with status 127 .*"},
    };
    for (const auto& [script, told, written, timeout] : cases) {
        sim::ProcessBusDevice device(settings(script, "i2c", timeout), world, {}, {});
        for (int power = 0; power < 2; ++power) {
            device.powerCycle();
            world.told.clear();
            Bytes read(2);
            EXPECT_FALSE(device.write(Bytes(written)) && device.read(read)) << script;
            EXPECT_FALSE(device.write({}) || device.read(read)) << script;
            const std::regex line(R"(device 'own' \(sh -c [\s\S]*\) )" + std::string(told) +
                                  "; it acknowledges nothing until the next power cycle");
            ASSERT_EQ(world.told.size(), 1u) << script;
            EXPECT_TRUE(std::regex_match(world.told[0], line)) << world.told[0];
        }
    }
    sim::ProcessSpiDevice missing({.name = "own", .bus = "spi", .command = {{"/nowhere/own"}, "/"}, .timeout = 1s},
                                  world, {}, {});
    world.told.clear();
    EXPECT_EQ(hexOf(missing.exchange(hex("00 00"))), "FF FF");
    EXPECT_EQ(world.told,
              std::vector<std::string>{"device 'own' (/nowhere/own) cannot be started in /: No such file or "
                                       "directory; it acknowledges nothing until the next power cycle"});
}

} // namespace
