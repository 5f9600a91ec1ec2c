// The two I2C ports.
#pragma once

#include <array>
#include <cstdint>
#include <map>

#include "devices/bus_device.hpp"
#include "model/command_table.hpp"

namespace sim {

struct I2c {
    struct Port {
        std::map<std::uint8_t, BusDevice*> devices; // by their addresses
        bool stuck = false;                         // held low, so that no transfer can begin
    };
    using Ports = std::array<Port, 2>;

    const Ports& ports;
    std::array<bool, 2> initialised{}; // by port
};

void addI2cCommands(CommandTable& table, I2c& i2c);

} // namespace sim
