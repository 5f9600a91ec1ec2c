// An I3C target with private registers. Until it has a dynamic address it answers as an I2C device at its static
// address.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "devices/bus_device.hpp"
#include "tarvixsdk/types.h"

namespace sim {

// Bits of the Bus Characteristics Register, by the I3C standard.
namespace bcr {
inline constexpr std::uint8_t SPEED_LIMITED = 0x01;
inline constexpr std::uint8_t IBI_CAPABLE = 0x02;
inline constexpr std::uint8_t IBI_PAYLOAD = 0x04;
inline constexpr std::uint8_t VIRTUAL_TARGET = 0x10;
inline constexpr std::uint8_t ADVANCED = 0x20; // GETCAPS tells which
} // namespace bcr

// Bits of the first three bytes of GETCAPS, by the I3C standard.
namespace caps1 {
inline constexpr std::uint8_t HDR_DDR = 0x01;
} // namespace caps1
namespace caps2 {
inline constexpr std::uint8_t VERSION = 0x0F; // the only bits that announce no capability
inline constexpr std::uint8_t VERSION_1_1 = 0x01;
inline constexpr std::uint8_t GROUPS = 0x30; // how many, 3 for three or more
inline constexpr std::uint8_t TWO_GROUPS = 0x20;
} // namespace caps2
namespace caps3 {
inline constexpr std::uint8_t GETCAPS_DEFINING_BYTE = 0x08;
inline constexpr std::uint8_t GETSTATUS_DEFINING_BYTE = 0x10;
} // namespace caps3

// Bits of the events byte of ENEC and DISEC, by the I3C standard.
namespace event {
inline constexpr std::uint8_t INTERRUPT = 0x01;
inline constexpr std::uint8_t HOT_JOIN = 0x08;
} // namespace event

// What a target is configured by; it never changes. Where a value is that of a code, it is the reply, in wire order.
struct I3cIdentity {
    std::uint8_t staticAddress; // 0: none
    std::array<std::uint8_t, 6> pid;
    std::uint8_t bcr;
    std::uint8_t dcr;

    std::vector<std::uint8_t> registers = std::vector<std::uint8_t>(64); // their reset values; 1 to 256 of them
    bool eventTriggers = true; // 0x80 and 0x81 raise events, which leaves room for 128 registers

    // Of an interrupt that is raised without payload, if the BCR says that interrupts have one.
    std::uint8_t mandatoryByte = 0x00;

    // At reset; the standard's names are MWL, MRL and the third byte of MRL.
    std::uint16_t maxWriteLength = 256;
    std::uint16_t maxReadLength = 256;
    std::uint8_t maxIbiPayload = 0; // 0: no limit

    std::vector<std::uint8_t> capabilities{0x00, caps2::VERSION_1_1, 0x00, 0x00}; // GETCAPS; up to 4, none: NACK
    std::array<std::uint8_t, 5> maxDataSpeed{0x01, 0x01, 0x14, 0x00, 0x00}; // GETMXDS, if the BCR has a speed limit

    // GETXTIME. Of the modes, 0x02 and 0x04 (asynchronous 0 and 1) can be entered; without any, it gets a NACK.
    std::uint8_t timingModes = 0x06;
    std::uint8_t clock = 0x18;           // in 0.5 MHz
    std::uint8_t clockInaccuracy = 0x0A; // in 0.1 %

    // RSTACT 0x81 to 0x84. Without a value, the target lacks the feature.
    std::uint8_t peripheralResetTime = 1;
    std::uint8_t wholeResetTime = 10;
    std::optional<std::uint8_t> debugResetTime{};          // of a debug network adapter
    std::optional<std::uint8_t> virtualTargetIndication{}; // needs the bit in the BCR
};

// What contradicts the I3C standard, or is more than a target can have; null when there is nothing.
const char* contradiction(const I3cIdentity& identity);

// The I3C side of a target: what Common Command Codes set and get. A reset of the I3C peripheral restores it.
struct I3cPeripheral {
    std::uint16_t maxWriteLength;
    std::uint16_t maxReadLength;
    std::uint8_t maxIbiPayload;
    std::uint8_t dynamicAddress = 0; // 0: none
    std::vector<std::uint8_t> groupAddresses{};
    std::uint8_t enabledEvents = 0xFF;
    std::uint8_t activityState = 0;
    std::uint8_t timingState = 0; // the state byte of GETXTIME
    std::uint8_t busContext = 0;  // the context of SETBUSCON; no command reads it
};

class I3cTarget final : public BusDevice {
public:
    enum class Event { INTERRUPT, REJOIN };

    // Of an identity without a contradiction.
    explicit I3cTarget(I3cIdentity identity);

    const I3cIdentity& identity() const { return identity_; }
    bool has(std::uint8_t bcrBits) const { return (identity_.bcr & bcrBits) == bcrBits; }
    // Byte 1 to 4 of GETCAPS, 0 where the target sends fewer.
    std::uint8_t capabilities(std::size_t byte) const;
    std::size_t maxGroups() const;

    I3cPeripheral& peripheral() { return peripheral_; }
    const I3cPeripheral& peripheral() const { return peripheral_; }
    bool awaitsAddress() const { return peripheral_.dynamicAddress == 0 && !isInReset(); }
    bool isInGroup(std::uint8_t address) const;
    // Gives back the dynamic address, and with it the group addresses.
    void loseAddresses();

    // The first byte of a write is the register, the data follows; what exceeds the maximum write length is lost. Two
    // registers beyond the others raise events when data is written to them, and leave the others alone.
    bool write(std::span<const std::uint8_t> stream) override;
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;

    Cells cells() const override { return {.count = registers_.size()}; }
    std::uint32_t peek(std::size_t address) const override { return registers_[address]; }
    void poke(std::size_t address, std::uint32_t value) override
    {
        registers_[address] = static_cast<std::uint8_t>(value);
    }
    std::vector<Fact> facts() const override;

    // Whether the target has what this defining byte of RSTACT is about.
    bool supports(I3cTargetResetDefByte definingByte) const;
    // What the next target reset pattern does, until a START comes before it.
    void armReset(I3cTargetResetDefByte action);
    void disarmReset() { armedReset_.reset(); }
    I3cTargetResetDefByte armedReset() const;
    // The controller has looked after the target since the last pattern, so the next one need not do more.
    void endEscalation() { escalates_ = false; }
    // The target reset pattern: does what is armed, once; else resets the I3C peripheral; else, when the controller
    // sent neither RSTACT nor GETSTATUS after the last pattern, resets everything.
    void resetPattern();

    // What a write to a trigger register asked for, once.
    std::optional<Event> takeEvent();

    // Payload of the interrupt that was asked for: as many registers, from the first, as the trigger was given.
    std::span<const std::uint8_t> interruptPayload() const;

private:
    void resetPeripheral();

    I3cIdentity identity_;
    I3cPeripheral peripheral_;
    std::vector<std::uint8_t> registers_;
    std::size_t pointer_ = 0;
    std::optional<Event> event_;
    std::size_t interruptLength_ = 0;
    std::optional<I3cTargetResetDefByte> armedReset_;
    bool escalates_ = false;
};

} // namespace sim
