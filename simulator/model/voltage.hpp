// The supply rails of the bus pins, in millivolts.
#pragma once

#include <cstdint>

#include "model/command_table.hpp"

namespace sim {

struct Voltage {
    struct Rail {
        std::uint16_t minimum;
        std::uint16_t maximum;
        std::uint16_t external;  // what the outside supplies
        std::uint16_t regulator; // what the adapter's own regulator is set to
        bool usesExternal = false;
    };

    Rail shared{.minimum = 1100, .maximum = 3600, .external = 2500, .regulator = 3300};
    Rail i3c{.minimum = 900, .maximum = 3600, .external = 1200, .regulator = 1800};
};

void addVoltageCommands(CommandTable& table, Voltage& voltage);

} // namespace sim
