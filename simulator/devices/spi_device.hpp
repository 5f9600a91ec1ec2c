// What answers behind one SPI chip select.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "devices/device.hpp"

namespace sim {

class SpiDevice : public Device {
public:
    // One transaction, from select to deselect, in bytes as they stand on the wire, most significant bit first: takes
    // what the controller sends and returns as many bytes of its own.
    virtual std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) = 0;
};

} // namespace sim
