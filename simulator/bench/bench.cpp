#include "bench/bench.hpp"

#include <algorithm>
#include <cstdio>
#include <set>
#include <utility>

#include "devices/links.hpp"

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
        addAddresses(board.i2c[port], "i2c" + std::to_string(port), world, i2cPorts_[port].devices);
        i2cPorts_[port].stuck = board.i2cStuck[port];
    }
    for (std::size_t select = 0; select < board.spi.size(); ++select) {
        if (const auto& device = board.spi[select]) {
            spiDevices_[select] = &link<SpiLink>(*device, add(*device, "spi" + std::to_string(select), world), world);
        }
    }
    uartPeer_ = &link<UartLink>(board.uart, add(board.uart, "uart", world), world);
    for (const auto& target : board.i3cTargets) {
        i3cTargets_.push_back(&add(target, "i3c" + std::to_string(i3cTargets_.size()), world));
    }
    addAddresses(board.legacyDevices, "i3c", world, legacyDevices_);

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
    for (const BenchDevice& part : devices_) {
        part.device->begin();
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

template <class Link, class Kind, class... Address>
Link& Bench::link(const DeviceBoard<Kind>& board, Kind& device, World& world, Address... address)
{
    FaultSource& faults = faults_.try_emplace(board.name, board.faults, board.name, world).first->second;
    auto link = std::make_unique<Link>(device, faults, address...);
    Link& added = *link;
    links_.push_back(std::move(link));
    return added;
}

void Bench::addAddresses(const std::map<std::uint8_t, DeviceBoard<BusDevice>>& boards, const std::string& bus,
                         World& world, std::map<std::uint8_t, BusDevice*>& devices)
{
    for (const auto& [first, board] : boards) {
        BusDevice& device = add(board, placeOf(bus, first), world);
        if (board.addresses == 1) {
            devices[first] = &link<BusLink>(board, device, world);
            continue;
        }
        for (std::size_t index = 0; index < board.addresses; ++index) {
            devices[static_cast<std::uint8_t>(first + index)] = &link<BusLink>(board, device, world, index);
        }
    }
}

FaultSource* Bench::faults(const std::string& device)
{
    const auto found = faults_.find(device);
    return found == faults_.end() ? nullptr : &found->second;
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
    WireEnd(wire).hold(board.hold);
    for (const std::size_t pin : board.pins) {
        pins_[pin] = WireEnd(wire, [pin, pinChanged](bool high) { pinChanged(pin, high); });
    }
    for (const auto& [name, line] : board.lines) {
        device(name).connect(line, WireEnd(wire));
    }
    for (const std::string& name : board.resets) {
        wire.add([&device = device(name)](bool high) { high ? device.releaseReset() : device.holdReset(); });
        if (!wire.isHigh()) {
            device(name).holdReset();
        }
    }
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

void Bench::holdInReset(BenchDevice& device, bool held)
{
    if (std::exchange(device.heldInReset, held) != held) {
        held ? device.device->holdReset() : device.device->releaseReset();
    }
}

void Bench::powerCycle()
{
    for (const BenchDevice& part : devices_) {
        part.device->powerCycle();
    }
}

} // namespace sim
