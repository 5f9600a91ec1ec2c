// The SPI controller and its four chip selects.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "devices/spi_device.hpp"
#include "model/command_table.hpp"
#include "tarvixsdk/types.h"

namespace sim {

class Probe;

struct Spi {
    // The device behind each chip select, null where there is none.
    using Devices = std::array<SpiDevice*, 4>;

    struct Settings {
        SpiBitOrder bitOrder;
        SpiMode mode;
        SpiDataWidth dataWidth;
        SpiChipSelect chipSelect;
        SpiChipSelectPolarity chipSelectPolarity;
        std::uint32_t frequency; // Hz
    };

    Devices devices;
    std::optional<Settings> settings{}; // none: not initialised
    Probe* probe = nullptr;
};

void addSpiCommands(CommandTable& table, Spi& spi);

} // namespace sim
