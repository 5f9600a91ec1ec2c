#include "devices/links.hpp"

#include <algorithm>

namespace sim {

// Tells a device with several addresses at which of them it is spoken to. In reset it hears nothing.
bool BusLink::reaches() const
{
    if (address_) {
        device_.select(*address_);
    }
    return !device_.isInReset();
}

bool BusLink::pass(std::span<const std::uint8_t> stream)
{
    const bool all = device_.write(stream);
    acknowledged_ = all ? stream.size() : device_.acknowledged();
    return all;
}

bool BusLink::write(std::span<const std::uint8_t> stream)
{
    acknowledged_.reset();
    if (!reaches()) {
        return false;
    }
    if (!faults_.isActive()) {
        return pass(stream);
    }
    faults_.stretch();
    const auto [address, count] = faults_.acknowledged(stream.size());
    if (!address) {
        return false;
    }
    std::vector<std::uint8_t> arrives(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(count));
    faults_.flip(arrives);
    return pass(arrives) && count == stream.size();
}

std::optional<std::size_t> BusLink::read(std::span<std::uint8_t> into)
{
    if (!reaches()) {
        return std::nullopt;
    }
    if (!faults_.isActive()) {
        return device_.read(into);
    }
    faults_.stretch();
    if (!faults_.acknowledged(0).address) {
        return std::nullopt;
    }
    const auto count = device_.read(into);
    faults_.flip(into.first(count.value_or(0)));
    return count;
}

std::vector<std::uint8_t> SpiLink::exchange(std::span<const std::uint8_t> sent)
{
    if (device_.isInReset()) {
        return std::vector<std::uint8_t>(sent.size(), 0xFF);
    }
    if (!faults_.isActive()) {
        return device_.exchange(sent);
    }
    std::vector<std::uint8_t> bytes(sent.begin(), sent.end());
    faults_.flip(bytes);
    bytes = device_.exchange(bytes);
    faults_.flip(bytes);
    return bytes;
}

UartLink::UartLink(UartPeer& device, FaultSource& faults) : Link(device, faults)
{
    device_.onSend([this](std::span<const std::uint8_t> bytes) { pass(bytes, [this](auto sent) { send(sent); }); });
}

void UartLink::receive(std::span<const std::uint8_t> bytes)
{
    pass(bytes, [this](auto received) { device_.receive(received); });
}

void UartLink::pass(std::span<const std::uint8_t> bytes, const Send& on)
{
    if (device_.isInReset()) {
        return;
    }
    if (!faults_.isActive()) {
        on(bytes);
        return;
    }
    std::vector<std::uint8_t> arrives(bytes.begin(), bytes.end());
    faults_.flip(arrives);
    on(arrives);
}

} // namespace sim
