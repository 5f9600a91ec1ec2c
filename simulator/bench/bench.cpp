#include "bench/bench.hpp"

#include <algorithm>
#include <cstdio>
#include <set>
#include <utility>

namespace sim {

namespace {

std::string placeOf(const std::string& bus, std::uint8_t address)
{
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "-0x%02x", address);
    return bus + text.data();
}

} // namespace

Bench::Bench(const AdapterBoard& board, World& world, PinChanged pinChanged)
{
    for (std::size_t port = 0; port < board.i2c.size(); ++port) {
        for (const auto& [address, device] : board.i2c[port]) {
            i2cPorts_[port].devices[address] = &add(device, placeOf("i2c" + std::to_string(port), address), world);
        }
    }
    for (std::size_t select = 0; select < board.spi.size(); ++select) {
        if (board.spi[select]) {
            spiDevices_[select] = &add(*board.spi[select], "spi" + std::to_string(select), world);
        }
    }
    uartPeer_ = &add(board.uart, "uart", world);
    for (const auto& target : board.i3cTargets) {
        i3cTargets_.push_back(&add(target, "i3c" + std::to_string(i3cTargets_.size()), world));
    }
    for (const auto& [address, device] : board.legacyDevices) {
        legacyDevices_[address] = &add(device, placeOf("i3c", address), world);
    }

    std::set<std::size_t> wired;
    for (const WireBoard& wire : board.wires) {
        addWire(wire, pinChanged);
        wired.insert(wire.pins.begin(), wire.pins.end());
    }
    for (std::size_t pin = 0; pin < pins_.size(); ++pin) {
        if (!wired.contains(pin)) {
            addWire({.name = "pin" + std::to_string(pin), .pins = {pin}}, pinChanged);
        }
    }
}

template <class Kind>
Kind& Bench::add(const DeviceBoard<Kind>& board, std::string place, World& world)
{
    std::unique_ptr<Kind> device = board.make(world);
    Kind& added = *device;
    devices_.push_back({board.name, board.type, std::move(place), std::move(device)});
    return added;
}

Device& Bench::device(std::string_view name) const
{
    return *std::ranges::find(devices_, name, &BenchDevice::name)->device;
}

void Bench::addWire(const WireBoard& board, const PinChanged& pinChanged)
{
    BenchWire& added = wires_.emplace_back();
    added.name = board.name;
    added.pins = board.pins;
    added.button = board.button;
    Wire& wire = *added.wire;
    for (const std::size_t pin : board.pins) {
        pins_[pin] = WireEnd(wire, [pin, pinChanged](bool high) { pinChanged(pin, high); });
    }
    for (const std::string& name : board.resets) {
        wire.add([&device = device(name)](bool high) {
            if (!high) {
                device.reset();
            }
        });
    }
    for (const auto& [name, line] : board.lines) {
        device(name).connect(line, WireEnd(wire));
    }
    WireEnd(wire).hold(board.hold);
    added.buttonEnd = WireEnd(wire);
    added.handEnd = WireEnd(wire);
}

void Bench::press(BenchWire& wire, bool pressed)
{
    wire.pressed = pressed;
    wire.buttonEnd.hold(pressed ? *wire.button : Hold::NOTHING);
}

void Bench::hold(BenchWire& wire, Hold how)
{
    wire.hand = how;
    wire.handEnd.hold(how);
}

void Bench::powerCycle()
{
    for (const BenchDevice& part : devices_) {
        part.device->powerCycle();
    }
}

} // namespace sim
