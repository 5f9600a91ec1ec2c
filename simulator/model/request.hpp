// Reads a request frame from front to back, little-endian. Reading what the frame does not hold refuses the request as
// malformed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace sim {

class Request {
public:
    // Transaction id and command code; a frame without them is not a request.
    static constexpr std::size_t HEADER_SIZE = 4;

    // The frame must hold a whole header and outlive the request.
    explicit Request(std::span<const std::uint8_t> frame);

    std::uint16_t transactionId() const { return transactionId_; }
    std::uint16_t code() const { return code_; }

    std::uint8_t u8();
    std::uint16_t u16();
    std::uint32_t u32();
    std::span<const std::uint8_t> bytes(std::size_t count);
    std::span<const std::uint8_t> rest() { return bytes(unread_.size()); }

    // Refuses a frame that goes on.
    void end() const;

private:
    std::span<const std::uint8_t> unread_;
    std::uint16_t transactionId_;
    std::uint16_t code_;
};

} // namespace sim
