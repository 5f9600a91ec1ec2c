// What lies between a device and its bus: faults, and the silence while a reset line is held.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "devices/bus_device.hpp"
#include "devices/faults.hpp"
#include "devices/spi_device.hpp"
#include "devices/uart_peer.hpp"

namespace sim {

// A link stands on the bus in place of its device; the bench tells the device itself of power and lines.
template <class Kind>
class Link : public Kind {
public:
    void powerCycle() final {}

protected:
    Link(Kind& device, FaultSource& faults) : device_(device), faults_(faults) {}

    Kind& device_;
    FaultSource& faults_;
};

class BusLink final : public Link<BusDevice> {
public:
    BusLink(BusDevice& device, FaultSource& faults) : Link(device, faults) {}
    // One of the addresses of a device that has several.
    BusLink(BusDevice& device, FaultSource& faults, std::size_t address) : Link(device, faults), address_(address) {}

    bool write(std::span<const std::uint8_t> stream) override;
    std::optional<std::size_t> acknowledged() const override { return acknowledged_; }
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;

private:
    bool reaches() const;
    bool pass(std::span<const std::uint8_t> stream);

    std::optional<std::size_t> address_;
    std::optional<std::size_t> acknowledged_; // of the last write
};

class SpiLink final : public Link<SpiDevice> {
public:
    SpiLink(SpiDevice& device, FaultSource& faults) : Link(device, faults) {}

    std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) override;
};

class UartLink final : public Link<UartPeer> {
public:
    UartLink(UartPeer& device, FaultSource& faults);

    void receive(std::span<const std::uint8_t> bytes) override;

private:
    void pass(std::span<const std::uint8_t> bytes, const Send& on);
};

} // namespace sim
