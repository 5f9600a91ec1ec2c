// The SPI controller and its four chip selects.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "devices/spi_device.hpp"
#include "model/command_table.hpp"
#include "tarvixsdk/types.h"

namespace sim {

class Spi {
public:
    static constexpr std::size_t SELECTS = 4;
    // The device behind each chip select, null where there is none.
    using Devices = std::array<SpiDevice*, SELECTS>;

    Spi(CommandTable& table, const Devices& devices);

private:
    struct Settings {
        SpiBitOrder bitOrder;
        SpiMode mode;
        SpiDataWidth dataWidth;
        SpiChipSelect chipSelect;
        SpiChipSelectPolarity chipSelectPolarity;
    };

    void controllerInit(Request& request, OutputFrame& response);
    void setParameters(Request& request, OutputFrame& response);
    void transfer(Request& request, OutputFrame& response);

    static Settings readSettings(Request& request);
    SpiDevice* listener() const;

    Devices devices_;
    std::optional<Settings> settings_; // none: not initialised
};

} // namespace sim
