// The devices of one adapter's board and the wires between them. They outlive a restart of the adapter.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/byte_log.hpp"
#include "board/board.hpp"
#include "model/gpio.hpp"
#include "model/i2c.hpp"
#include "model/i3c_bus.hpp"
#include "model/spi.hpp"

namespace sim {

class Bench {
public:
    using PinChanged = std::function<void(std::size_t pin, bool high)>;

    // What the hand on the bench takes hold of, in the order of the board.
    struct BenchDevice {
        std::string name;
        std::string type;
        std::string place; // as "i2c0-0x48"
        std::unique_ptr<Device> device;
        bool heldInReset = false; // by the hand
    };
    struct BenchWire {
        std::string name; // of a wire that the board does not name: "pin0"
        std::vector<std::size_t> pins;
        std::unique_ptr<Wire> wire = std::make_unique<Wire>();
        std::optional<Hold> button; // while it is pressed
        WireEnd buttonEnd;
        bool pressed = false;
        WireEnd handEnd;
        Hold hand = Hold::NOTHING;
    };

    Bench(const AdapterBoard& board, World& world, PinChanged pinChanged);
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    const I2c::Ports& i2cPorts() const { return i2cPorts_; }
    const Spi::Devices& spiDevices() const { return spiDevices_; }
    UartPeer& uartPeer() const { return *uartPeer_; }
    ByteLog& uartSent() { return uartSent_; } // by the adapter
    const Gpio::Ends& pins() const { return pins_; }
    const I3cBus::Targets& i3cTargets() const { return i3cTargets_; }
    const I3cBus::LegacyDevices& legacyDevices() const { return legacyDevices_; }

    std::vector<BenchDevice>& devices() { return devices_; }
    std::vector<BenchWire>& wires() { return wires_; }

    // Of a wire that has a button.
    static void press(BenchWire& wire, bool pressed);
    // DRIVE_LOW, DRIVE_HIGH or NOTHING.
    static void hold(BenchWire& wire, Hold how);
    static void holdInReset(BenchDevice& device, bool held);

    // The adapter's rails went away for a moment.
    void powerCycle();

    // What goes wrong with this device; null when there is none of this name, or it is an I3C target.
    FaultSource* faults(const std::string& device);
    // Holds the bus of an I2C port low, or lets it go.
    void setStuck(std::size_t port, bool stuck) { i2cPorts_.at(port).stuck = stuck; }

private:
    template <class Kind>
    Kind& add(const DeviceBoard<Kind>& board, std::string place, World& world);
    template <class Link, class Kind, class... Address>
    Link& link(const DeviceBoard<Kind>& board, Kind& device, World& world, Address... address);
    void addAddresses(const std::map<std::uint8_t, DeviceBoard<BusDevice>>& boards, const std::string& bus,
                      World& world, std::map<std::uint8_t, BusDevice*>& devices);
    void addWire(const WireBoard& board, const PinChanged& pinChanged);
    Device& device(std::string_view name) const;

    std::vector<BenchWire> wires_; // before the devices, which hold them
    std::vector<BenchDevice> devices_;
    std::map<std::string, FaultSource> faults_;  // by device
    std::vector<std::unique_ptr<Device>> links_; // of devices to their buses
    I2c::Ports i2cPorts_;
    Spi::Devices spiDevices_{};
    UartPeer* uartPeer_ = nullptr;
    ByteLog uartSent_;
    Gpio::Ends pins_;
    I3cBus::Targets i3cTargets_;
    I3cBus::LegacyDevices legacyDevices_;
};

} // namespace sim
