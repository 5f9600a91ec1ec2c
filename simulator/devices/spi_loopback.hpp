// A wire from the controller's output to its input.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "devices/spi_device.hpp"

namespace sim {

class SpiLoopback final : public SpiDevice {
public:
    std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) override
    {
        return {sent.begin(), sent.end()};
    }
    void powerCycle() override {}
};

} // namespace sim
