// What answers at an address of a two-wire bus, I2C or I3C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace sim {

class BusDevice {
public:
    BusDevice() = default;
    virtual ~BusDevice() = default;
    BusDevice(const BusDevice&) = delete;
    BusDevice& operator=(const BusDevice&) = delete;

    // All bytes of one write: on the wire a register address and the data after it are one stream. No byte at all is
    // a mere address probe.
    virtual void write(std::span<const std::uint8_t> stream) = 0;

    // Fills `into` from where the device stands and returns how many bytes it delivered before it ended the read.
    virtual std::size_t read(std::span<std::uint8_t> into) = 0;

    // The supply went and came back: what is volatile returns to its first value.
    virtual void powerCycle() = 0;
};

} // namespace sim
