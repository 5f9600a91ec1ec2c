// An adapter with a board of the test's own, talked to in a few words.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/bench.hpp"
#include "support/bytes.hpp"
#include "virtual_adapter.hpp"

class BoardRig {
public:
    // `adapter` is the JSON object of one adapter.
    explicit BoardRig(const std::string& adapter, std::uint64_t seed = 1)
        : BoardRig(sim::parseBoard("board.json", R"({"version": 1, "adapters": [)" + adapter + "]}"), seed)
    {
    }
    explicit BoardRig(sim::Board board, std::uint64_t seed = 1)
        : world(seed), adapter_(std::move(board.front()), world, [this](const Bytes& frame) { sent_.push_back(frame); })
    {
        initialise();
    }

    // What came of it, and after it " !" for each notification since the last. Numbers are hexadecimal but for times.
    //   w 50 00 aa        writes two bytes to I2C address 0x50: "ok", or the adapter's status
    //   r 50 2 00 01      writes the register address 0x0001 and reads two bytes: "12 34"
    //   scan              the addresses that answer
    //   pin 3             whether it is high
    //   drive 3 high      makes it an output; `free 3` an input again, which fires at both edges
    //   spi 9f 00         what comes back from chip select 0
    //   uart 41 54        what comes back until the next words
    //   ask 04 19 00      any request by its code and fields: what follows the status
    //   pass 2.5          milliseconds; `stall` when nobody runs what is due
    //   power             the adapter restarts
    std::string operator()(const std::string& words)
    {
        std::istringstream stream(words);
        std::string verb;
        stream >> verb;
        std::string rest;
        std::getline(stream, rest);
        std::string answer = perform(verb, rest);
        world.pass({});
        adapter_.settle();
        for (const Bytes& frame : std::exchange(sent_, {})) {
            const bool isUart = frame[2] == 0x81 && frame[3] == 0x10;
            answer += isUart ? hexOf(part(frame, 8, frame.size())) : " !";
        }
        return answer;
    }

    void converse(std::initializer_list<std::pair<const char*, const char*>> steps)
    {
        for (const auto& [words, answer] : steps) {
            EXPECT_EQ((*this)(words), answer) << words;
        }
    }

    StillWorld world;

private:
    void initialise()
    {
        for (const char* request : {"01 09 00 80 1A 06 00 00", "01 09 01 80 1A 06 00 00",
                                    "01 0D 00 00 00 00 00 40 42 0F 00", "02 10 07 00 00 03 00", "01 19 00 00 00 00"}) {
            EXPECT_EQ(ask(hex(request)).first, "ok") << request;
        }
    }

    std::string perform(const std::string& verb, const std::string& rest)
    {
        const Bytes bytes = hex(rest);
        if (verb == "pass" || verb == "stall") {
            using Milliseconds = std::chrono::duration<double, std::milli>;
            const auto time = std::chrono::duration_cast<sim::World::Clock::duration>(Milliseconds(std::stod(rest)));
            verb == "pass" ? world.pass(time) : world.stall(time);
            return "";
        }
        if (verb == "power") {
            adapter_.powerUp();
            initialise();
            return "";
        }
        if (verb == "w") {
            const auto count = static_cast<std::uint8_t>(bytes.size() - 1);
            return ask(Bytes{0x04, 0x09, 0, count, 0, bytes[0], 0, 0, 0, 0, 0, 0} + part(bytes, 1, bytes.size())).first;
        }
        if (verb == "r") {
            Bytes request{0x05, 0x09, 0, bytes[1], 0, bytes[0], static_cast<std::uint8_t>(bytes.size() - 2)};
            Bytes address(bytes.rbegin(), bytes.rend() - 2);
            return data(ask(request + padded(address, 4) + Bytes{0}), 9);
        }
        if (verb == "scan") {
            return data(ask({0x06, 0x09, 0, 0}), 9);
        }
        if (verb == "pin") {
            return ask({0x03, 0x14, bytes[0]}).second.at(6) != 0 ? "high" : "low";
        }
        if (verb == "drive") {
            return ask({0x01, 0x14, bytes[0], 1, rest.ends_with("high")}).first;
        }
        if (verb == "free") {
            ask({0x04, 0x14, bytes[0], 2});
            return ask({0x01, 0x14, bytes[0], 0, 0}).first;
        }
        if (verb == "spi") {
            return data(ask(Bytes{0x04, 0x0D, static_cast<std::uint8_t>(bytes.size()), 0, 0, 0} + bytes), 8);
        }
        if (verb == "uart") {
            ask(Bytes{0x05, 0x10, static_cast<std::uint8_t>(bytes.size()), 0} + bytes);
            return "";
        }
        if (verb == "ask") {
            return data(ask(bytes), 6);
        }
        return "what is " + verb;
    }

    // The status in words, and the response.
    std::pair<std::string, Bytes> ask(const Bytes& request)
    {
        const std::size_t before = sent_.size();
        adapter_.request(Bytes{1, 0} + request);
        const Bytes response = sent_.at(before);
        sent_.erase(sent_.begin() + static_cast<std::ptrdiff_t>(before));
        return {response[4] == 0 && response[5] == 0 ? "ok" : hexOf({response[5], response[4]}), response};
    }

    static std::string data(const std::pair<std::string, Bytes>& answer, std::size_t from)
    {
        return answer.first == "ok" ? hexOf(part(answer.second, from, answer.second.size())) : answer.first;
    }

    std::vector<Bytes> sent_;
    sim::VirtualAdapter adapter_;
};
