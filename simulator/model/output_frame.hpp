// Lays out a frame that the adapter sends: fields at fixed offsets, zero until they are set, then data of any length.
// Multi-byte fields are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "model/device_status.hpp"
#include "model/frame.hpp"

namespace sim {

class OutputFrame {
public:
    // Transaction id, code and status.
    static constexpr std::size_t HEADER_SIZE = 6;

    // `dataOffset` is where the fixed fields end, counted from the start of the frame.
    OutputFrame(std::uint16_t transactionId, std::uint16_t code, std::size_t dataOffset = HEADER_SIZE);

    void setStatus(DeviceStatus status);
    void setU8(std::size_t offset, std::uint8_t value);
    void setU16(std::size_t offset, std::uint16_t value);
    void append(std::span<const std::uint8_t> data);

    const Frame& bytes() const { return bytes_; }

private:
    Frame bytes_;
};

} // namespace sim
