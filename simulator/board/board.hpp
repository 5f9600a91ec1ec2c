// What is on an adapter's board, as a board file says it. `Bench` builds it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devices/bus_device.hpp"
#include "devices/faults.hpp"
#include "devices/i3c_target.hpp"
#include "devices/spi_device.hpp"
#include "devices/uart_peer.hpp"
#include "devices/wire.hpp"
#include "devices/world.hpp"
#include "model/voltage.hpp"

namespace sim {

// How to make a device, once for each adapter that has it.
template <class Kind>
struct DeviceBoard {
    std::string name; // unique on its board
    std::string type;
    std::vector<std::string> lines; // that a wire may connect
    std::function<std::unique_ptr<Kind>(World& world)> make;
    std::size_t addresses = 1; // in a row, on a two-wire bus
    DeviceFaults faults{};
};

struct WireBoard {
    struct Line {
        std::string device;
        std::string line;
    };

    std::string name;
    std::vector<std::size_t> pins;
    Hold hold = Hold::NOTHING;         // all the time
    std::optional<Hold> button{};      // while it is pressed
    std::vector<Line> lines{};         // of devices
    std::vector<std::string> resets{}; // devices that are held in reset while the wire is low
};

struct AdapterBoard {
    std::string serialNumber = "TVX0000001";
    std::size_t reportSize = 64; // or 1024
    std::string manufacturer = "Tarvix";
    std::string product = "Tarvix Virtual Adapter";
    std::string firmware = "firmware 1.0.0";
    std::string hardware = "hardware virtual";
    Voltage voltage;                                                   // as it is at power-up
    std::array<std::map<std::uint8_t, DeviceBoard<BusDevice>>, 2> i2c; // by first address
    std::array<bool, 2> i2cStuck{};                                    // whether the bus is held low
    std::array<std::optional<DeviceBoard<SpiDevice>>, 4> spi;          // by chip select
    DeviceBoard<UartPeer> uart;
    std::vector<WireBoard> wires; // each pin on at most one of them
    std::vector<DeviceBoard<I3cTarget>> i3cTargets;
    std::map<std::uint8_t, DeviceBoard<BusDevice>> legacyDevices; // I2C devices on the I3C bus, by first address
};

// The adapters of a board file, at least one.
using Board = std::vector<AdapterBoard>;

} // namespace sim
