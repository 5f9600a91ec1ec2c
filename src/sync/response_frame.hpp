// Reads one response or notification frame: transaction id, command code, status, payload from byte 6.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tarvixsdk/types.h"

// Never reads past the frame: missing bytes read as zero, so a decoder that must deliver n bytes does, whatever the
// adapter sent. Multi-byte fields are little-endian unless a name says otherwise.
class ResponseFrame {
public:
    explicit ResponseFrame(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    std::size_t size() const { return bytes_.size(); }

    TransactionId transactionId() const { return u16(0); }
    std::uint16_t code() const { return u16(2); }
    StatusCode status() const { return StatusCode{u16(4)}; }
    bool holdsStatus() const { return size() >= 6; }

    std::uint8_t u8(std::size_t offset) const { return offset < bytes_.size() ? bytes_[offset] : std::uint8_t{0}; }

    std::uint16_t u16(std::size_t offset) const { return static_cast<std::uint16_t>(u8(offset) | u8(offset + 1) << 8); }

    std::uint16_t u16BigEndian(std::size_t offset) const
    {
        return static_cast<std::uint16_t>(u8(offset) << 8 | u8(offset + 1));
    }

    // Replaces `out` by the `count` bytes from `offset` on.
    void copyTo(std::vector<std::uint8_t>& out, std::size_t offset, std::size_t count) const
    {
        const auto part = held(offset, count);
        out.assign(part.begin(), part.end());
        out.resize(count);
    }

    // The same, to memory that has room for them.
    void copyTo(std::uint8_t* out, std::size_t offset, std::size_t count) const
    {
        const auto part = held(offset, count);
        std::fill_n(std::copy(part.begin(), part.end(), out), count - part.size(), std::uint8_t{0});
    }

private:
    // Of those bytes the ones that came.
    std::span<const std::uint8_t> held(std::size_t offset, std::size_t count) const
    {
        const auto rest = bytes_.subspan(std::min(offset, bytes_.size()));
        return rest.first(std::min(count, rest.size()));
    }

    std::span<const std::uint8_t> bytes_;
};
