// What answers at an address of a two-wire bus, I2C or I3C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "devices/device.hpp"

namespace sim {

class BusDevice : public Device {
public:
    // To a device with several addresses: at which of them, counted from its first, it is spoken to next.
    virtual void select(std::size_t /*address*/) {}

    // All bytes of one write: on the wire a register address and the data after it are one stream. No byte at all is
    // a mere address probe. False: the address or one of the bytes was not acknowledged.
    virtual bool write(std::span<const std::uint8_t> stream) = 0;

    // How many bytes of a write that returned false were acknowledged; nothing when not even the address was.
    virtual std::optional<std::size_t> acknowledged() const { return std::nullopt; }

    // Fills `into` from where the device stands and returns how many bytes it delivered before it ended the read;
    // nothing when it did not acknowledge its address.
    virtual std::optional<std::size_t> read(std::span<std::uint8_t> into) = 0;
};

} // namespace sim
