// The two I2C ports.
#pragma once

#include <array>
#include <cstdint>
#include <map>

#include "devices/bus_device.hpp"
#include "model/command_table.hpp"

namespace sim {

class Probe;

struct I2c {
    struct Port {
        std::map<std::uint8_t, BusDevice*> devices; // by their addresses
        bool stuck = false;                         // held low, so that no transfer can begin
    };
    using Ports = std::array<Port, 2>;

    struct Settings {
        bool initialised = false;
        std::uint32_t frequency = 0; // Hz
    };

    const Ports& ports;
    std::array<Settings, 2> settings{}; // by port
    Probe* probe = nullptr;
};

void addI2cCommands(CommandTable& table, I2c& i2c);

} // namespace sim
