// The two I2C ports.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>

#include "devices/bus_device.hpp"
#include "model/command_table.hpp"

namespace sim {

class I2c {
public:
    // The devices of one port by their addresses.
    using Devices = std::map<std::uint8_t, BusDevice*>;
    static constexpr std::size_t PORTS = 2;

    I2c(CommandTable& table, const std::array<Devices, PORTS>& devices);

private:
    struct Port {
        Devices devices;
        bool initialised = false;
    };

    void setPullUpResistors(Request& request, OutputFrame& response);
    void controllerInit(Request& request, OutputFrame& response);
    void setParameters(Request& request, OutputFrame& response);
    void write(Request& request, OutputFrame& response);
    void read(Request& request, OutputFrame& response);
    void scanBus(Request& request, OutputFrame& response);

    Port& portOf(std::uint8_t bus);
    Port& initialisedPort(std::uint8_t bus);
    Port& configure(Request& request);

    std::array<Port, PORTS> ports_;
};

} // namespace sim
