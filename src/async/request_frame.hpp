// Builds one request frame, in wire order: transaction id, command code, then whatever is appended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "commands.hpp"
#include "tarvixsdk/types.h"

// The size of `data` in a 16-bit field. Data beyond 65,535 bytes is sent whole and announced modulo 65,536: whether
// that is an error is for the adapter to say.
inline std::uint16_t count16(std::span<const std::uint8_t> data)
{
    return static_cast<std::uint16_t>(data.size());
}

template <typename Type>
concept Enumeration = std::is_enum_v<Type>;

// All multi-byte fields are little-endian. Each step returns the frame as an rvalue, so that a finished chain is moved
// and never copied. An argument that does not fit makes the frame invalid, which send() reports after it has tested the
// connection.
class RequestFrame {
public:
    // `dataSize` is the number of bytes that bytes() will append, so that the frame is allocated once.
    RequestFrame(TransactionId transactionId, CommandCode code, std::size_t dataSize = 0)
    {
        bytes_.reserve(LONGEST_FIELDS + dataSize);
        u16(transactionId).u16(static_cast<std::uint16_t>(code));
    }
    RequestFrame(RequestFrame&&) = default;
    RequestFrame& operator=(RequestFrame&&) = delete;

    RequestFrame&& u8(std::uint8_t value)
    {
        bytes_.push_back(value);
        return std::move(*this);
    }

    // Only the low byte travels.
    RequestFrame&& u8(Enumeration auto value) { return u8(static_cast<std::uint8_t>(value)); }

    RequestFrame&& flag(bool value) { return u8(value ? 1 : 0); }

    RequestFrame&& u16(std::uint16_t value)
    {
        return u8(static_cast<std::uint8_t>(value)).u8(static_cast<std::uint8_t>(value >> 8));
    }

    RequestFrame&& u32(std::uint32_t value)
    {
        return u16(static_cast<std::uint16_t>(value)).u16(static_cast<std::uint16_t>(value >> 16));
    }

    RequestFrame&& bytes(std::span<const std::uint8_t> data)
    {
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        return std::move(*this);
    }

    RequestFrame&& zeros(std::size_t count)
    {
        bytes_.resize(bytes_.size() + count);
        return std::move(*this);
    }

    RequestFrame&& require(bool condition)
    {
        valid_ = valid_ && condition;
        return std::move(*this);
    }

    bool valid() const { return valid_; }
    std::span<const std::uint8_t> wire() const { return bytes_; }

private:
    static constexpr std::size_t LONGEST_FIELDS = 16; // before the data; the longest is 14

    std::vector<std::uint8_t> bytes_;
    bool valid_ = true;
};
