// The devices of one adapter's board and the wires between them. They outlive a restart of the adapter.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "board/board.hpp"
#include "model/gpio.hpp"
#include "model/i2c.hpp"
#include "model/i3c_bus.hpp"
#include "model/spi.hpp"

namespace sim {

class Bench {
public:
    using PinChanged = std::function<void(std::size_t pin, bool high)>;

    Bench(const AdapterBoard& board, World& world, PinChanged pinChanged);
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    const I2c::Ports& i2cPorts() const { return i2cPorts_; }
    const Spi::Devices& spiDevices() const { return spiDevices_; }
    UartPeer& uartPeer() const { return *uartPeer_; }
    const Gpio::Ends& pins() const { return pins_; }
    const I3cBus::Targets& i3cTargets() const { return i3cTargets_; }
    const I3cBus::LegacyDevices& legacyDevices() const { return legacyDevices_; }

    // The adapter's rails went away for a moment.
    void powerCycle();

    // What goes wrong with this device; null when there is none of this name, or it is an I3C target.
    FaultSource* faults(const std::string& device);
    // Holds the bus of an I2C port low, or lets it go.
    void setStuck(std::size_t port, bool stuck) { i2cPorts_.at(port).stuck = stuck; }

private:
    template <class Kind>
    Kind& add(const DeviceBoard<Kind>& board, World& world);
    template <class Link, class Kind, class... Address>
    Link& link(const DeviceBoard<Kind>& board, Kind& device, World& world, Address... address);
    void addAddresses(const std::map<std::uint8_t, DeviceBoard<BusDevice>>& boards, World& world,
                      std::map<std::uint8_t, BusDevice*>& devices);
    void addWire(const WireBoard& board, const PinChanged& pinChanged);
    Wire& newWire() { return *wires_.emplace_back(std::make_unique<Wire>()); }

    std::vector<std::unique_ptr<Wire>> wires_; // before the devices, which hold them
    std::map<std::string, WireEnd> buttons_;   // and fixed levels, by the names of their wires
    std::map<std::string, std::unique_ptr<Device>> devices_;
    std::map<std::string, FaultSource> faults_;  // by device
    std::vector<std::unique_ptr<Device>> links_; // of devices to their buses
    I2c::Ports i2cPorts_;
    Spi::Devices spiDevices_{};
    UartPeer* uartPeer_ = nullptr;
    Gpio::Ends pins_;
    I3cBus::Targets i3cTargets_;
    I3cBus::LegacyDevices legacyDevices_;
};

} // namespace sim
