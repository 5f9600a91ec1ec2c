#include "devices/i3c_target.hpp"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

// Registers that raise events.
constexpr std::uint8_t INTERRUPT_TRIGGER = 0x80;
constexpr std::uint8_t REJOIN_TRIGGER = 0x81;

constexpr std::size_t MAX_REGISTERS = 256; // by a register address of one byte
constexpr std::size_t MAX_CAPABILITIES = 4;

bool announcesAdvanced(const std::vector<std::uint8_t>& capabilities)
{
    for (std::size_t i = 0; i < capabilities.size(); ++i) {
        if ((capabilities[i] & ~(i == 1 ? caps2::VERSION : 0)) != 0) {
            return true;
        }
    }
    return false;
}

} // namespace

const char* contradiction(const I3cIdentity& identity)
{
    const std::size_t maxRegisters = identity.eventTriggers ? INTERRUPT_TRIGGER : MAX_REGISTERS;
    const auto lacks = [&](std::uint8_t bit) { return (identity.bcr & bit) == 0; };
    if (identity.registers.empty() || identity.registers.size() > maxRegisters) {
        return "there must be 1 to 256 registers, or to 128 with the event triggers behind them";
    }
    if (identity.capabilities.size() > MAX_CAPABILITIES) {
        return "GETCAPS has at most 4 bytes";
    }
    if (lacks(bcr::IBI_CAPABLE) && !lacks(bcr::IBI_PAYLOAD)) {
        return "bit 2 of the BCR (interrupts have a payload) needs bit 1 (interrupts)";
    }
    if (lacks(bcr::ADVANCED) && announcesAdvanced(identity.capabilities)) {
        return "what GETCAPS announces needs bit 5 of the BCR (advanced capabilities)";
    }
    if (!lacks(bcr::ADVANCED) && identity.capabilities.empty()) {
        return "bit 5 of the BCR (advanced capabilities) needs GETCAPS, which says what they are";
    }
    if (lacks(bcr::VIRTUAL_TARGET) && identity.virtualTargetIndication) {
        return "a virtual target indication needs bit 4 of the BCR (virtual target)";
    }
    return nullptr;
}

I3cTarget::I3cTarget(I3cIdentity identity) : identity_(std::move(identity))
{
    powerCycle();
}

std::uint8_t I3cTarget::capabilities(std::size_t byte) const
{
    return byte <= identity_.capabilities.size() ? identity_.capabilities[byte - 1] : 0;
}

std::size_t I3cTarget::maxGroups() const
{
    return (capabilities(2) & caps2::GROUPS) / 0x10;
}

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
    if (identity_.eventTriggers && (address == INTERRUPT_TRIGGER || address == REJOIN_TRIGGER)) {
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
    resetPeripheral();
    registers_ = identity_.registers;
    pointer_ = 0;
    event_.reset();
    armedReset_.reset();
    escalates_ = false;
}

void I3cTarget::resetPeripheral()
{
    peripheral_ = {.maxWriteLength = identity_.maxWriteLength,
                   .maxReadLength = identity_.maxReadLength,
                   .maxIbiPayload = identity_.maxIbiPayload};
}

bool I3cTarget::supports(I3cTargetResetDefByte definingByte) const
{
    switch (definingByte) {
    case I3cTargetResetDefByte::RESET_DEBUG_ADAPTER:
    case I3cTargetResetDefByte::TIME_RESET_DEBUG_ADAPTER:
        return identity_.debugResetTime.has_value();
    case I3cTargetResetDefByte::VIRTUAL_TARGET_DETECT:
    case I3cTargetResetDefByte::VIRTUAL_TARGET_INDICATION:
        return identity_.virtualTargetIndication.has_value();
    default:
        return true;
    }
}

void I3cTarget::armReset(I3cTargetResetDefByte action)
{
    armedReset_ = action;
    escalates_ = false;
}

I3cTargetResetDefByte I3cTarget::armedReset() const
{
    return armedReset_.value_or(escalates_ ? I3cTargetResetDefByte::RESET_WHOLE_TARGET
                                           : I3cTargetResetDefByte::RESET_PERIPHERAL);
}

std::vector<Fact> I3cTarget::facts() const
{
    return {
        {"pointer", static_cast<std::int64_t>(pointer_)},
        {"static_address", identity_.staticAddress},
        {"dynamic_address", peripheral_.dynamicAddress},
        {"interrupts_enabled", (peripheral_.enabledEvents & event::INTERRUPT) != 0},
        {"hot_joins_enabled", (peripheral_.enabledEvents & event::HOT_JOIN) != 0},
        {"max_write_length", peripheral_.maxWriteLength},
        {"max_read_length", peripheral_.maxReadLength},
        {"max_ibi_payload", peripheral_.maxIbiPayload},
    };
}

void I3cTarget::resetPattern()
{
    const I3cTargetResetDefByte action = armedReset();
    armedReset_.reset();
    escalates_ = true;
    if (action == I3cTargetResetDefByte::RESET_PERIPHERAL) {
        resetPeripheral();
    } else if (action == I3cTargetResetDefByte::RESET_WHOLE_TARGET) {
        powerCycle();
    }
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
