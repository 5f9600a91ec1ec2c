#include "bench/bench.hpp"

#include <set>
#include <utility>

#include "devices/links.hpp"

namespace sim {

Bench::Bench(const AdapterBoard& board, World& world, PinChanged pinChanged)
{
    for (std::size_t port = 0; port < board.i2c.size(); ++port) {
        addAddresses(board.i2c[port], world, i2cPorts_[port].devices);
        i2cPorts_[port].stuck = board.i2cStuck[port];
    }
    for (std::size_t select = 0; select < board.spi.size(); ++select) {
        if (const auto& device = board.spi[select]) {
            spiDevices_[select] = &link<SpiLink>(*device, add(*device, world), world);
        }
    }
    uartPeer_ = &link<UartLink>(board.uart, add(board.uart, world), world);
    for (const auto& target : board.i3cTargets) {
        i3cTargets_.push_back(&add(target, world));
    }
    addAddresses(board.legacyDevices, world, legacyDevices_);

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
    for (const auto& [name, device] : devices_) {
        device->begin();
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

template <class Link, class Kind, class... Address>
Link& Bench::link(const DeviceBoard<Kind>& board, Kind& device, World& world, Address... address)
{
    FaultSource& faults = faults_.try_emplace(board.name, board.faults, board.name, world).first->second;
    auto link = std::make_unique<Link>(device, faults, address...);
    Link& added = *link;
    links_.push_back(std::move(link));
    return added;
}

void Bench::addAddresses(const std::map<std::uint8_t, DeviceBoard<BusDevice>>& boards, World& world,
                         std::map<std::uint8_t, BusDevice*>& devices)
{
    for (const auto& [first, board] : boards) {
        BusDevice& device = add(board, world);
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

void Bench::addWire(const WireBoard& board, const PinChanged& pinChanged)
{
    Wire& wire = newWire();
    WireEnd(wire).hold(board.hold);
    for (const std::size_t pin : board.pins) {
        pins_[pin] = WireEnd(wire, [pin, pinChanged](bool high) { pinChanged(pin, high); });
    }
    for (const auto& [device, line] : board.lines) {
        devices_.at(device)->connect(line, WireEnd(wire));
    }
    for (const std::string& name : board.resets) {
        Device& device = *devices_.at(name);
        wire.add([&device](bool high) { high ? device.releaseReset() : device.holdReset(); });
        if (!wire.isHigh()) {
            device.holdReset();
        }
    }
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
