// Devices by themselves, as board files describe them.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "board/read_board.hpp"
#include "support/bench.hpp"
#include "support/bytes.hpp"

namespace {

using namespace std::chrono_literals;

// The adapter of a board file, of which this is the text without its braces.
sim::AdapterBoard boardWith(const std::string& adapter)
{
    return sim::parseBoard("board.json", R"({"version": 1, "adapters": [{)" + adapter + "}]}").front();
}

std::string errorOf(const std::string& adapter)
{
    try {
        boardWith(adapter);
        return "none";
    } catch (const sim::BoardError& error) {
        return std::string(error.what()).substr(std::string("board.json: /adapters/0").size());
    }
}

TEST(UartScript, AnswersLinesAndSpeaksOfItsOwnAccord)
{
    StillWorld world;
    const auto board = boardWith(R"("uart": {"type": "script", "ends": "text:\r;", "line_end": "|", "replies": [
        {"to": "AT", "lines": ["OK"]},
        {"to": "late", "lines": ["a", "", "b"], "after_ms": 1.5},
        {"to": "/[A-Z]+=[0-9]{2}/", "send": "hex:00 ff"},
        {"to": "/X.*/", "lines": ["ERROR"]}],
        "timers": [{"after_ms": 10, "every_ms": 4, "lines": ["tick"]}, {"after_ms": 15, "send": "text:once"}]})");
    const auto peer = board.uart.make(world);
    std::string said;
    peer->onSend([&](auto bytes) { said.append(bytes.begin(), bytes.end()); });
    const struct {
        std::string received;
        std::chrono::microseconds passing;
        std::string said;
    } steps[]{
        {"A", 0us, ""},
        {"T\r", 0us, "OK|"},
        {"AT;;\rAT\rATX\r;XAT;", 0us, "OK|OK|ERROR|"},
        {"AB=12\rAB=123\r", 0us, std::string("\0\xFF", 2)},
        {"late\rAT\r", 1000us, "OK|"},
        {"", 1000us, "a||b|"},
        {std::string(5000, 'X') + "\r", 0us, "ERROR|"},
        {"", 8000us, "tick|"},
        {"", 8000us, "tick|oncetick|"},
        {"", 20'000us, "tick|tick|tick|tick|tick|"},
    };
    for (const auto& [received, passing, expected] : steps) {
        peer->receive(Bytes(received.begin(), received.end()));
        world.pass(passing);
        EXPECT_EQ(std::exchange(said, {}), expected) << received;
    }
    peer->receive(Bytes{'l', 'a', 't', 'e', '\r', 'A'});
    peer->powerCycle();
    peer->receive(Bytes{'A', 'T', '\r'});
    world.pass(9ms);
    EXPECT_EQ(said, "OK|");
    world.pass(1ms);
    EXPECT_EQ(said, "OK|tick|");
}

TEST(UartScript, RefusesWhatItCannotSayOrMatch)
{
    const std::pair<const char*, const char*> cases[]{
        {R"("replies": [{"to": "/(a)\\1/", "lines": []}])",
         "/uart/replies/0/to: '/(a)\\1/' is not a regex that can be used"},
        {R"("replies": [{"to": "/(/", "lines": []}])", "/uart/replies/0/to: '/(/' is not a regex that can be used"},
        {R"("replies": [{"to": "AT"}])", "/uart/replies/0: give either 'lines' or 'send'"},
        {R"("timers": [{"every_ms": 0.5, "lines": []}])", "/uart/timers/0/every_ms: the shortest period is 1 ms"},
    };
    for (const auto& [keys, error] : cases) {
        const std::string told = errorOf(R"("uart": {"type": "script", )" + std::string(keys) + "}");
        EXPECT_TRUE(told.starts_with(error)) << told;
    }
}

} // namespace
