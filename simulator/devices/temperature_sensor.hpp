// A temperature sensor with four 16-bit registers behind a pointer; all values travel high byte first.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "devices/bus_device.hpp"

namespace sim {

class TemperatureSensor final : public BusDevice {
public:
    // The first byte of a write is the pointer, each whole pair after it goes to the register pointed to. The
    // temperature register ignores writes.
    bool write(std::span<const std::uint8_t> stream) override;

    // The register pointed to, over and over.
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;

private:
    static constexpr std::size_t TEMPERATURE = 0;
    // Temperature, configuration, low limit, high limit. Temperatures in 1/256 degree Celsius: 23.5, 75 and 80.
    static constexpr std::array<std::uint16_t, 4> DEFAULTS{0x1780, 0x0000, 0x4B00, 0x5000};

    std::array<std::uint16_t, 4> registers_ = DEFAULTS;
    std::size_t pointer_ = TEMPERATURE;
};

} // namespace sim
