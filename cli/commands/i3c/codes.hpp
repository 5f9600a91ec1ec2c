// The Common Command Codes: how each is written, sent and answered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "commands/i3c/replies.hpp"
#include "tarvixsdk/sdk.hpp"

namespace tool {

struct Call {
    TarvixSDK& sdk;
    std::uint8_t address = 0; // of a direct form
    std::vector<std::uint64_t> values;
    Bytes data;
    std::optional<Bytes> reply; // in wire order; none of a form that only sets something

    std::uint8_t byte(std::size_t i) const { return static_cast<std::uint8_t>(values[i]); }
    std::uint16_t word(std::size_t i) const { return static_cast<std::uint16_t>(values[i]); }
    std::optional<std::uint8_t> optionalByte(std::size_t i) const
    {
        return i < values.size() ? std::optional(byte(i)) : std::nullopt;
    }
    std::optional<Bytes> optionalData() const { return data.empty() ? std::nullopt : std::optional(data); }
    void answer(std::uint16_t length)
    {
        reply = Bytes{static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)};
    }
};

using Send = StatusCode (*)(Call& call);

struct Argument {
    std::string_view name;
    Range range;
    bool optional = false;
};

struct Code {
    std::string_view name;
    std::string_view description;
    Send broadcast = nullptr;
    Send direct = nullptr;
    std::vector<Argument> arguments{};
    bool takesData = false; // any bytes after the arguments
    Fields (*decode)(const Bytes& reply) = nullptr;
    std::size_t shortestReply = 0; // that can be decoded
    bool otherReplies = false;     // a first argument but 0 asks for a reply that is not decoded
    bool assigns = false;          // is about addresses, so a bus is not given any before it
    void (*requireBroadcastable)(const std::vector<std::uint64_t>& values) = nullptr; // throws UsageError
};

const std::vector<Code>& codes();

// By its name in any case. Throws UsageError.
const Code& findCode(const std::string& text);

// "SETMRL [@ADDR] LENGTH [PAYLOAD]"
std::string usage(const Code& code);

} // namespace tool
