// The devices of one adapter's board and the wires between them. They outlive a restart of the adapter.
#pragma once

#include <cstddef>
#include <functional>
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

    // The adapter's rails went away for a moment.
    void powerCycle();

private:
    template <class Kind>
    Kind& add(const DeviceBoard<Kind>& board, std::string place, World& world);
    void addWire(const WireBoard& board, const PinChanged& pinChanged);
    Device& device(std::string_view name) const;

    std::vector<BenchWire> wires_; // before the devices, which hold them
    std::vector<BenchDevice> devices_;
    I2c::Ports i2cPorts_;
    Spi::Devices spiDevices_{};
    UartPeer* uartPeer_ = nullptr;
    ByteLog uartSent_;
    Gpio::Ends pins_;
    I3cBus::Targets i3cTargets_;
    I3cBus::LegacyDevices legacyDevices_;
};

} // namespace sim
