#include "devices/i3c_target.hpp"

#include <algorithm>
#include <utility>

namespace sim {

bool I3cTarget::isInGroup(std::uint8_t address) const
{
    const auto& groups = peripheral_.groupAddresses;
    return std::ranges::find(groups, address) != groups.end();
}

void I3cTarget::loseAddresses()
{
    peripheral_.dynamicAddress = 0;
    peripheral_.groupAddresses.clear();
}

bool I3cTarget::write(std::span<const std::uint8_t> stream)
{
    stream = stream.first(std::min<std::size_t>(stream.size(), peripheral_.maxWriteLength));
    if (stream.empty()) {
        return true;
    }
    const std::uint8_t address = stream.front();
    const auto data = stream.subspan(1);
    if (address == INTERRUPT_TRIGGER || address == REJOIN_TRIGGER) {
        if (!data.empty()) {
            event_ = address == INTERRUPT_TRIGGER ? Event::INTERRUPT : Event::REJOIN;
            interruptLength_ = std::min<std::size_t>(data.front(), registers_.size());
        }
        return true;
    }
    pointer_ = address % registers_.size();
    for (const std::uint8_t byte : data) {
        registers_[pointer_] = byte;
        pointer_ = (pointer_ + 1) % registers_.size();
    }
    return true;
}

std::optional<std::size_t> I3cTarget::read(std::span<std::uint8_t> into)
{
    const std::size_t count = std::min<std::size_t>(into.size(), peripheral_.maxReadLength);
    for (std::uint8_t& byte : into.first(count)) {
        byte = registers_[pointer_];
        pointer_ = (pointer_ + 1) % registers_.size();
    }
    return count;
}

void I3cTarget::powerCycle()
{
    peripheral_ = {};
    registers_.fill(0);
    pointer_ = 0;
    event_.reset();
}

void I3cTarget::resetPattern()
{
    switch (peripheral_.resetAction.value_or(I3cTargetResetDefByte::RESET_PERIPHERAL)) {
    case I3cTargetResetDefByte::RESET_PERIPHERAL:
        peripheral_ = {};
        break;
    case I3cTargetResetDefByte::RESET_WHOLE_TARGET:
        powerCycle();
        break;
    default:
        break;
    }
    peripheral_.resetAction.reset();
}

std::optional<I3cTarget::Event> I3cTarget::takeEvent()
{
    return std::exchange(event_, std::nullopt);
}

std::span<const std::uint8_t> I3cTarget::interruptPayload() const
{
    return std::span(registers_).first(interruptLength_);
}

} // namespace sim
