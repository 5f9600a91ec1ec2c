// What people type: numbers, units, bytes, quoted words, messages, targets. Nothing runs but the parsing.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "arguments/transfers.hpp"
#include "arguments/words.hpp"
#include "commands/i2c/messages.hpp"
#include "commands/i3c/targets.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

using Strings = std::vector<std::string>;

// What a parse says when it refuses: message and advice as they are printed; "accepted" if it does not.
std::string refusal(const std::function<void()>& parse)
{
    try {
        parse();
    } catch (const UsageError& error) {
        return error.what() + (error.advice().empty() ? "" : "; " + error.advice());
    }
    return "accepted";
}

TEST(Numbers, HexDecimalAndBinary)
{
    const std::pair<const char*, std::uint64_t> table[] = {
        {"0", 0},    {"80", 80},   {"0x50", 0x50}, {"0XfF", 255},
        {"010", 10}, {"0b101", 5}, {"0B1", 1},     {"18446744073709551615", ~std::uint64_t{0}},
        {"00", 0},   {"0x00a", 10}};
    for (const auto& [text, value] : table) {
        EXPECT_EQ(parseNumber("N", text, {}), value) << text;
    }
    for (const char* text : {"", " 1", "1 ", "-1", "+1", "0x", "0b", "0x-1", "0b2", "12a", "1.0",
                             "18446744073709551616", "0x10000000000000000"}) {
        EXPECT_EQ(refusal([&] { parseNumber("N", text, {}); }),
                  "N: '" + std::string(text) + "' is not a number such as 80, 0x50 or 0b1010000");
    }
    // Both ends of a range are in it.
    EXPECT_EQ(parseNumber("N", "3", {3, 5}), 3);
    EXPECT_EQ(parseNumber("N", "0x5", {3, 5}), 5);
    EXPECT_EQ(refusal([] { parseNumber("--pin", "2", {3, 5}); }), "--pin: 2 is out of range, 3 to 5");
    EXPECT_EQ(refusal([] { parseNumber("--pin", "0x6", {3, 5}); }), "--pin: 0x6 is out of range, 3 to 5");
    EXPECT_EQ(refusal([] { parseNumber("--count", "0", {1}); }), "--count: 0 is out of range, 1 or more");
}

TEST(Numbers, Units)
{
    const auto frequency = [](const char* text) { return parseFrequency("F", text, {1, 50'000'000}); };
    for (const char* text : {"12500000", "12500k", "12500KHz", "12.5M", "12.5MHz", "12500000Hz"}) {
        EXPECT_EQ(frequency(text), 12'500'000) << text;
    }
    for (const char* text : {"", "k", "1.5", "1 k", "1m", "1G", "-1", "nan", "inf", "1e3", "0x10", "0.0001k"}) {
        EXPECT_EQ(refusal([&] { frequency(text); }),
                  "F: '" + std::string(text) + "' is not a frequency such as 400000, 400k or 1M");
    }
    EXPECT_EQ(refusal([&] { frequency("51M"); }), "F: 51M is out of range, 1 to 50000000");
    const auto size = [](const char* text) { return parseSize("N", text, {1, 1 << 20}); };
    for (const char* text : {"1048576", "0x100000", "1024k", "1024K", "1024KiB", "1M", "1MiB"}) {
        EXPECT_EQ(size(text), 1 << 20) << text;
    }
    EXPECT_EQ(refusal([&] { size("1kB"); }), "N: '1kB' is not a size such as 4096, 0x1000, 4k or 1M");
    EXPECT_EQ(refusal([&] { size("1025k"); }), "N: 1025k is out of range, 1 to 1048576");
    for (const char* text : {"86400000", "86400000ms", "86400s"}) {
        EXPECT_EQ(parsePeriod("P", text).count(), 86'400'000) << text;
    }
    EXPECT_EQ(refusal([] { parsePeriod("P", "86401s"); }), "P: 86401s is out of range, 0 to 86400000");
    EXPECT_EQ(refusal([] { parsePeriod("P", "5m"); }), "P: '5m' is not a period such as 500, 500ms or 2s");
    for (const char* text : {"65535", "65535mV", "65.535V", "65.535v"}) {
        EXPECT_EQ(parseVoltage("V", text), 65535) << text;
    }
    EXPECT_EQ(refusal([] { parseVoltage("V", "65.536V"); }), "V: 65.536V is out of range, 0 to 65535mV");
    EXPECT_EQ(refusal([] { parseVoltage("V", "3.3X"); }), "V: '3.3X' is not a voltage such as 3300, 3300mV or 3.3V");
}

TEST(Data, NumbersHexTextAndFiles)
{
    const auto parse = [](const Strings& words, bool mayBeEmpty = false) {
        return readData("DATA", words, 4, mayBeEmpty);
    };
    EXPECT_EQ(parse({"12", "0x34", "hex:dEad"}), (Bytes{12, 0x34, 0xDE, 0xAD}));
    EXPECT_EQ(parse({"text:a\\r\\\\", "text:"}), (Bytes{'a', '\r', '\\'}));
    EXPECT_EQ(parse({"text:\\0\\t\\n\\e"}), (Bytes{0, 9, 10, 27}));
    EXPECT_EQ(parse({"text:\\x41x", "text:@-"}), (Bytes{'A', 'x', '@', '-'}));
    EXPECT_EQ(parse({}, true), Bytes{});
    const std::string use = "; use numbers (18 0x34), hex:DIGITS, text:TEXT, @FILE, or @- for standard input";
    const std::string range = " is out of range, 0 to 255" + use;
    const std::string number = "' is not a number such as 80, 0x50 or 0b1010000";
    const std::string escape = "' is not an escape; use \\r, \\n, \\t, \\e, \\0, \\\\ or \\xHH";
    EXPECT_EQ(refusal([&] { parse({}); }), "DATA: no bytes given" + use);
    const std::pair<std::string, std::string> refused[] = {
        {"4b", "'4b" + number + "; write 0x4b"},
        {"deadbeef", "'deadbeef" + number + "; write hex:deadbeef"},
        {"-", "'-" + number + "; write @- for standard input"},
        {"", "'" + number + use},
        {"xyz", "'xyz" + number + use},
        {"256", "256" + range},
        {"0xdead", "0xdead is out of range, 0 to 0xff" + use},
        {"hex:", "'hex:': two hex digits make a byte"},
        {"hex:123", "'hex:123': two hex digits make a byte"},
        {"hex:1g", "'hex:1g': two hex digits make a byte"},
        {"text:\\q", "'\\q" + escape},
        {"text:\\", "'\\" + escape},
        {"text:\\x4", "'\\x4" + escape},
        {"text:\\x4gz", "'\\x4g" + escape},
        {"@/nonexistent/file", "/nonexistent/file: No such file or directory"},
        {"@/dev/zero", "more than 4 bytes"}, // an endless file ends at the limit
        {"hex:0102030405", "more than 4 bytes"},
    };
    for (const auto& [word, text] : refused) {
        EXPECT_EQ(refusal([&, &word = word] { parse({word}); }), "DATA: " + text);
    }
}

TEST(Data, RegistersGoOutMostSignificantByteFirst)
{
    EXPECT_EQ(encodeRegister(0x01020304, 4), (Bytes{1, 2, 3, 4}));
    const auto readAt = [](const char* address, unsigned bytes) { ReadPosition({address, bytes}); };
    EXPECT_EQ(refusal([&] { readAt("0xffffffff", 4); }), "accepted");
    EXPECT_EQ(refusal([&] { readAt("0x100", 1); }),
              "REGISTER: 0x100 does not fit in a 1-byte register address; raise --reg-bytes");
    EXPECT_EQ(refusal([] { requireAddressable("--length", {"0xfe", 1}, {2, "0b10"}); }), "accepted");
    EXPECT_EQ(refusal([] {
                  requireAddressable("--length", {"0xfe", 1}, {3, "0b11"});
              }),
              "--length: 0b11 starting at 0xfe goes beyond the last 1-byte register address; raise --reg-bytes");
}

TEST(Words, QuotesEscapesAndComments)
{
    const std::pair<const char*, Strings> table[] = {
        {"", {}},
        {" \t gpio  get\t3 \r", {"gpio", "get", "3"}},
        {"# all of it", {}},
        {"a#b # rest", {"a#b"}},
        {"'a b'\"#\" \"c d\" ''", {"a b#", "c d", ""}},
        {"'a\\b' \"a\\\"b\" a\\ b \\#x", {"a\\b", "a\"b", "a b", "#x"}},
        {"'\"' \"'\" \"\"", {"\"", "'", ""}},
    };
    for (const auto& [line, words] : table) {
        EXPECT_EQ(splitWords(line), words) << line;
    }
    EXPECT_EQ(refusal([] { splitWords("a 'b"); }), "unterminated quote: '");
    EXPECT_EQ(refusal([] { splitWords("\"b'"); }), "unterminated quote: \"");
    EXPECT_EQ(refusal([] { splitWords("a\\"); }), "backslash at end of line; lines cannot be continued");
}

TEST(Messages, SuffixesFillTheRestOfAWrite)
{
    const std::vector<std::pair<Strings, Bytes>> table{
        {{"w0@0x50"}, {}},
        {{"w3@0x50", "16", "hex:3456"}, {16, 0x34, 0x56}},
        {{"w4@0x50", "0x10", "0xfe+"}, {0x10, 0xFE, 0xFF, 0x00}},
        {{"w3@0x50", "1-"}, {1, 0, 0xFF}},
        {{"w3@0x50", "7="}, {7, 7, 7}},
        // (byte XOR 27) + 13, as i2ctransfer counts
        {{"w3@0x50", "0p"}, {0, 0x28, 0x40}},
    };
    for (const auto& [words, data] : table) {
        const auto messages = parseMessages(words);
        ASSERT_EQ(messages.size(), 1) << words.front();
        EXPECT_EQ(messages[0].data, data) << words.front();
    }
}

TEST(Messages, WhatTheAdapterCannotDoIsRefused)
{
    const std::string apart = "; run them as separate commands, with a stop between them";
    const std::vector<std::pair<Strings, std::string>> table{
        {{"r2"}, "DESCRIPTOR: 'r2' has no address; write r2@0x50"},
        {{"r65536@0x50"}, "r65536@0x50: 65536 is out of range, 0 to 65535"},
        {{"r1@0x80"}, "r1@0x80: 0x80 is out of range, 0 to 0x7f"},
        {{"w2@0x50", "1"}, "DATA of w2@0x50: 1 byte given, 2 expected"},
        {{"w1@0x50", "01", "2="}, "DATA of w1@0x50: 2 bytes given, 1 expected"},
        {{"w3@0x50", "="},
         "DATA of w3@0x50: '=' is not a number such as 80, 0x50 or 0b1010000; use numbers (18 0x34), hex:DIGITS, "
         "text:TEXT, @FILE, or @- for standard input"},
        {{"x1@0x50"}, "DESCRIPTOR: 'x1@0x50' is not a message such as w1@0x50 or r16; start with a message"},
        {{"r1@0x50", "5"}, "DESCRIPTOR: '5' is not a message such as w1@0x50 or r16; a read takes no data"},
        {{"w5@0x50", "0+", "r1"}, "DESCRIPTOR: 'w5@0x50': before a read the adapter writes at most 4 bytes" + apart},
        {{"w1@0x50", "0", "r1@0x51"}, "DESCRIPTOR: 'w1@0x50' and 'r1@0x51' address different targets" + apart},
        {{"r1@0x50", "w1", "0"},
         "DESCRIPTOR: the adapter cannot join 'r1@0x50' and 'w1', only a write followed by a read" + apart},
        {{"w1@0x50", "0", "r1", "r1"},
         "DESCRIPTOR: the adapter cannot join 3 messages, only a write and a read" + apart},
        {{"w4@0x50", "0+", "r1"}, "accepted"},
    };
    for (const auto& [words, text] : table) {
        EXPECT_EQ(refusal([&] { parseMessages(words); }), text);
    }
}

TEST(Targets, OnTheCommandLine)
{
    EXPECT_EQ(refusal([] { parseTarget("7ffe12345001"); }),
              "TARGET: PID '7ffe12345001' has no dynamic address; write 7ffe12345001=0x08");
    for (const char* text : {"0x30=", "0=8", "0x30=0x80", "7ffe1234500=8", "7ffe1234500g=8", "=8"}) {
        EXPECT_NE(refusal([&] { parseTarget(text); }), "accepted") << text;
    }
}

} // namespace

} // namespace tool
