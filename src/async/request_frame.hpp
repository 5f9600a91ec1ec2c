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

// The number of bytes in `data` for a 16-bit field: longer data is announced modulo 65,536 and sent whole, and the
// adapter's answer decides.
inline std::uint16_t count16(std::span<const std::uint8_t> data)
{
    return static_cast<std::uint16_t>(data.size());
}

template <typename Type>
concept Enumeration = std::is_enum_v<Type>;

// All multi-byte fields are little-endian. Each step hands the frame on as an rvalue, so that a finished chain is moved
// and its bytes are never copied. An argument that a frame cannot carry makes the frame invalid; it is then
// refused when it is sent, after the connection was tested.
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

    // The low byte of an enumerator; higher bits never travel.
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
