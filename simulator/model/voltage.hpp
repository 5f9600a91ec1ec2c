// The supply rails of the bus pins, in millivolts.
#pragma once

#include <cstdint>

#include "model/command_table.hpp"

namespace sim {

class Voltage {
public:
    explicit Voltage(CommandTable& table);

private:
    struct Rail {
        std::uint16_t minimum;
        std::uint16_t maximum;
        std::uint16_t external;  // what the outside supplies
        std::uint16_t regulator; // what the adapter's own regulator is set to
        bool usesExternal = false;

        std::uint16_t atPins() const { return usesExternal ? external : regulator; }
        void set(std::uint16_t voltage);
    };

    void setI3c(Request& request, OutputFrame& response);
    void setShared(Request& request, OutputFrame& response);
    void useExternalI3c(Request& request, OutputFrame& response);
    void useExternalShared(Request& request, OutputFrame& response);
    void measure(Request& request, OutputFrame& response);

    Rail shared_{.minimum = 1100, .maximum = 3600, .external = 2500, .regulator = 3300};
    Rail i3c_{.minimum = 900, .maximum = 3600, .external = 1200, .regulator = 1800};
};

} // namespace sim
