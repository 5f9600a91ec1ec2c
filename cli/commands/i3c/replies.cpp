#include "commands/i3c/replies.hpp"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace tool {

namespace {

using Names = std::vector<std::pair<unsigned, std::string_view>>; // by bit

std::vector<std::string> bitsSet(unsigned value, const Names& names)
{
    std::vector<std::string> set;
    for (const auto& [bit, name] : names) {
        if ((value >> bit & 1) != 0) {
            set.emplace_back(name);
        }
    }
    return set;
}

unsigned bigEndian(std::span<const std::uint8_t> bytes)
{
    unsigned value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8 | byte;
    }
    return value;
}

Field hexField(std::string label, unsigned value, int digits)
{
    return {std::move(label), value, fmt::format("0x{:0{}x}", value, digits)};
}

Field amount(std::string label, unsigned value, std::string_view unit)
{
    return {std::move(label), value, fmt::format("{} {}", value, unit)};
}

Field rateField(std::string label, unsigned byte)
{
    static constexpr std::string_view RATES[] = {"12.5 MHz", "8 MHz", "6 MHz", "4 MHz", "2 MHz"};
    const unsigned code = byte & 7;
    const std::string rate = code < std::size(RATES) ? std::string(RATES[code]) : fmt::format("reserved {}", code);
    return {std::move(label), rate, rate};
}

// In steps of 0.5 MHz; 0 stands for a clock that is too slow for them.
Field clockField(unsigned byte)
{
    if (byte == 0) {
        return {"clock", 32'000, "about 32 kHz"};
    }
    return {"clock", byte * 500'000, fmt::format("{:.1f} MHz", byte * 0.5)};
}

} // namespace

Field::Field(std::string name, Json content, std::string words)
    : label(std::move(name)), value(std::move(content)), text(std::move(words))
{
}

Field::Field(std::string name, const std::vector<std::string>& list)
    : label(std::move(name)), value(list), text(list.empty() ? "none" : fmt::format("{}", fmt::join(list, ", ")))
{
}

Fields decodeMaxWriteLength(const Bytes& reply)
{
    return {amount("max write length", bigEndian(reply), "bytes")};
}

Fields decodeMaxReadLength(const Bytes& reply)
{
    Fields fields{amount("max read length", bigEndian(std::span(reply).first(2)), "bytes")};
    if (reply.size() > 2) {
        fields.push_back(
            {"max ibi payload", reply[2], reply[2] == 0 ? "0 = no limit" : fmt::format("{} bytes", reply[2])});
    }
    return fields;
}

Fields decodePid(const Bytes& reply)
{
    const unsigned high = bigEndian(std::span(reply).first(2));
    const unsigned low = bigEndian(std::span(reply).subspan(2, 4));
    const bool random = (high & 1) != 0;
    Fields fields{hexField("manufacturer id", high >> 1, 4),
                  {"type", random ? "random" : "vendor-fixed", random ? "random" : "vendor-fixed"}};
    if (random) {
        fields.push_back(hexField("random value", low, 8));
    } else {
        fields.push_back(hexField("part id", low >> 16, 4));
        fields.push_back(hexField("instance id", low >> 12 & 0xF, 1));
        fields.push_back(hexField("vendor bits", low & 0xFFF, 3));
    }
    return fields;
}

Fields decodeBcr(const Bytes& reply)
{
    static constexpr std::string_view ROLES[] = {"target", "controller-capable", "reserved 2", "reserved 3"};
    const std::string role(ROLES[reply[0] >> 6]);
    return {hexField("bcr", reply[0], 2), {"role", role, role}, {"features", bcrFeatures(reply[0])}};
}

Fields decodeDcr(const Bytes& reply)
{
    // The codes that need no list of makers at hand.
    static const std::vector<std::pair<unsigned, std::string>> TYPES{{0x00, "generic device"},
                                                                     {0x41, "accelerometer"},
                                                                     {0x42, "gyroscope"},
                                                                     {0x43, "magnetometer"},
                                                                     {0x44, "accelerometer and gyroscope"},
                                                                     {0x45, "accelerometer and magnetometer"},
                                                                     {0x46, "accelerometer, gyroscope, magnetometer"}};
    Fields fields{hexField("dcr", reply[0], 2)};
    const auto known =
        std::find_if(TYPES.begin(), TYPES.end(), [&](const auto& type) { return type.first == reply[0]; });
    if (known != TYPES.end()) {
        fields.push_back({"device", known->second, known->second});
    } else {
        fields.push_back({"device", nullptr, "see MIPI's list of device characteristics"});
    }
    return fields;
}

Fields decodeStatus(const Bytes& reply)
{
    const unsigned low = reply[1];
    const bool error = (low & 0x20) != 0;
    return {{"pending interrupt", low & 0xF, (low & 0xF) == 0 ? "none" : fmt::format("{}", low & 0xF)},
            {"protocol error", error, error ? "yes" : "no"},
            {"activity state", low >> 6, fmt::format("{}", low >> 6)},
            hexField("vendor byte", reply[0], 2)};
}

Fields decodeMaxDataSpeed(const Bytes& reply)
{
    static constexpr std::string_view DELAYS[] = {"8 ns",  "9 ns",       "10 ns",      "11 ns",
                                                  "12 ns", "reserved 5", "reserved 6", "more than 12 ns"};
    constexpr unsigned LAST_LIMIT = 4;
    const unsigned code = reply[1] >> 3 & 7;
    const std::string delay(DELAYS[code]);
    Fields fields{rateField("max write rate", reply[0]),
                  rateField("max read rate", reply[1]),
                  {"clock to data turnaround", delay, code <= LAST_LIMIT ? "at most " + delay : delay}};
    if (reply.size() >= 5) {
        // Least significant byte first, unlike the lengths.
        fields.push_back(amount("max read turnaround", bigEndian(std::vector{reply[4], reply[3], reply[2]}), "us"));
    }
    return fields;
}

Fields decodeCapabilities(const Bytes& reply)
{
    Fields fields{{"hdr modes", bitsSet(reply[0], {{0, "HDR-DDR"}, {1, "HDR-TSP"}, {2, "HDR-TSL"}, {3, "HDR-BT"}})}};
    if (reply.size() > 1) {
        const std::string version = fmt::format("1.{}", reply[1] & 0xF);
        fields.push_back({"version", version, version});
        const unsigned groups = reply[1] >> 4 & 3;
        fields.push_back({"group addresses", groups, groups == 3 ? "3 or more" : fmt::format("{}", groups)});
    }
    if (reply.size() > 2) {
        fields.push_back({"defining bytes", bitsSet(reply[2], {{3, "GETCAPS"}, {4, "GETSTATUS"}})});
    }
    return fields;
}

Fields decodeTiming(const Bytes& reply)
{
    static const Names MODES{
        {0, "synchronous"}, {1, "asynchronous 0"}, {2, "asynchronous 1"}, {3, "asynchronous 2"}, {4, "asynchronous 3"}};
    return {{"supported modes", bitsSet(reply[0], MODES)},
            {"active modes", bitsSet(reply[1], MODES)},
            {"overflow", (reply[1] & 0x80) != 0, (reply[1] & 0x80) != 0 ? "yes" : "no"},
            clockField(reply[2]),
            {"inaccuracy", reply[3] / 10.0, fmt::format("{:.1f} %", reply[3] / 10.0)}};
}

Fields decodeResetTime(const Bytes& reply)
{
    return {{"answer", reply[0], fmt::format("{}", reply[0])}};
}

std::vector<std::string> bcrFeatures(std::uint8_t bcr)
{
    return bitsSet(bcr, {{0, "speed limit"},
                         {1, "interrupts"},
                         {2, "interrupt payload"},
                         {3, "offline-capable"},
                         {4, "virtual targets"},
                         {5, "advanced capabilities"}});
}

std::string jsonKey(std::string_view label)
{
    std::string key(label);
    std::replace(key.begin(), key.end(), ' ', '_');
    return key;
}

} // namespace tool
