#include "bench/bench.hpp"

#include <set>

namespace sim {

Bench::Bench(const AdapterBoard& board, World& world, PinChanged pinChanged)
{
    for (std::size_t port = 0; port < board.i2c.size(); ++port) {
        for (const auto& [address, device] : board.i2c[port]) {
            i2cPorts_[port].devices[address] = &add(device, world);
        }
    }
    for (std::size_t select = 0; select < board.spi.size(); ++select) {
        if (board.spi[select]) {
            spiDevices_[select] = &add(*board.spi[select], world);
        }
    }
    uartPeer_ = &add(board.uart, world);
    for (const auto& target : board.i3cTargets) {
        i3cTargets_.push_back(&add(target, world));
    }
    for (const auto& [address, device] : board.legacyDevices) {
        legacyDevices_[address] = &add(device, world);
    }

    std::set<std::size_t> wired;
    for (const WireBoard& wire : board.wires) {
        addWire(wire, pinChanged);
        wired.insert(wire.pins.begin(), wire.pins.end());
    }
    for (std::size_t pin = 0; pin < pins_.size(); ++pin) {
        if (!wired.contains(pin)) {
            addWire({.name = {}, .pins = {pin}}, pinChanged);
        }
    }
}

template <class Kind>
Kind& Bench::add(const DeviceBoard<Kind>& board, World& world)
{
    std::unique_ptr<Kind> device = board.make(world);
    Kind& added = *device;
    devices_[board.name] = std::move(device);
    return added;
}

void Bench::addWire(const WireBoard& board, const PinChanged& pinChanged)
{
    Wire& wire = newWire();
    for (const std::size_t pin : board.pins) {
        pins_[pin] = WireEnd(wire, [pin, pinChanged](bool high) { pinChanged(pin, high); });
    }
    for (const std::string& name : board.resets) {
        Device& device = *devices_.at(name);
        wire.add([&device](bool high) {
            if (!high) {
                device.reset();
            }
        });
    }
    for (const auto& [device, line] : board.lines) {
        devices_.at(device)->connect(line, WireEnd(wire));
    }
    WireEnd(wire).hold(board.hold);
    if (board.button) {
        buttons_[board.name] = WireEnd(wire);
    }
}

void Bench::powerCycle()
{
    for (const auto& [name, device] : devices_) {
        device->powerCycle();
    }
}

} // namespace sim
