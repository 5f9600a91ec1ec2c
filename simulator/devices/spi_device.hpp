// What answers behind one SPI chip select.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace sim {

class SpiDevice {
public:
    SpiDevice() = default;
    virtual ~SpiDevice() = default;
    SpiDevice(const SpiDevice&) = delete;
    SpiDevice& operator=(const SpiDevice&) = delete;

    // One transaction, from select to deselect, in bytes as they stand on the wire, most significant bit first: takes
    // what the controller sends and returns as many bytes of its own.
    virtual std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) = 0;

    virtual void powerCycle() = 0;
};

} // namespace sim
