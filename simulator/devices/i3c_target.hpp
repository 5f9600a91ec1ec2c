// An I3C target with 64 bytes of private registers. Until it has a dynamic address it answers as an I2C device at its
// static address.
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

// What never changes about a target.
struct I3cIdentity {
    std::uint8_t staticAddress;
    std::array<std::uint8_t, 6> pid; // in wire order
    std::uint8_t bcr;
    std::uint8_t dcr;
};

// Bits of the Bus Characteristics Register, by the I3C standard.
namespace bcr {
inline constexpr std::uint8_t SPEED_LIMITED = 0x01;
inline constexpr std::uint8_t IBI_CAPABLE = 0x02;
inline constexpr std::uint8_t IBI_PAYLOAD = 0x04;
inline constexpr std::uint8_t ADVANCED = 0x20; // HDR modes; GETCAPS tells which
} // namespace bcr

// Bits of the events byte of ENEC and DISEC, by the I3C standard.
namespace event {
inline constexpr std::uint8_t INTERRUPT = 0x01;
inline constexpr std::uint8_t HOT_JOIN = 0x08;
} // namespace event

// The I3C side of a target: what Common Command Codes set and get. A reset of the I3C peripheral restores it.
struct I3cPeripheral {
    std::uint8_t dynamicAddress = 0; // 0: none
    std::vector<std::uint8_t> groupAddresses;
    std::uint8_t enabledEvents = 0xFF;
    std::uint8_t activityState = 0;
    std::uint16_t maxWriteLength = 256;
    std::uint16_t maxReadLength = 256;
    std::uint8_t maxIbiPayload = 0; // 0: no limit
    std::uint8_t timingState = 0;   // the state byte of GETXTIME
    std::uint8_t busContext = 0;    // the context of SETBUSCON; no command reads it
    std::optional<I3cTargetResetDefByte> resetAction;
};

class I3cTarget final : public BusDevice {
public:
    enum class Event { INTERRUPT, REJOIN };

    static constexpr std::size_t MAX_GROUPS = 2;

    explicit I3cTarget(I3cIdentity identity) : identity_(identity) {}

    const I3cIdentity& identity() const { return identity_; }
    bool has(std::uint8_t bcrBits) const { return (identity_.bcr & bcrBits) == bcrBits; }

    I3cPeripheral& peripheral() { return peripheral_; }
    const I3cPeripheral& peripheral() const { return peripheral_; }
    bool isInGroup(std::uint8_t address) const;
    // Gives back the dynamic address, and with it the group addresses.
    void loseAddresses();

    // The first byte of a write is the register, the data follows; what exceeds the maximum write length is lost. Two
    // registers beyond the 64 raise events when data is written to them, and leave the others alone.
    bool write(std::span<const std::uint8_t> stream) override;
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;

    // The target reset pattern: does what RSTACT asked for, once, else resets the I3C peripheral.
    void resetPattern();

    // What a write to a trigger register asked for, once.
    std::optional<Event> takeEvent();

    // Payload of the interrupt that was asked for: as many registers, from the first, as the trigger was given.
    std::span<const std::uint8_t> interruptPayload() const;

private:
    static constexpr std::uint8_t INTERRUPT_TRIGGER = 0x80;
    static constexpr std::uint8_t REJOIN_TRIGGER = 0x81;

    I3cIdentity identity_;
    I3cPeripheral peripheral_;
    std::array<std::uint8_t, 64> registers_{};
    std::size_t pointer_ = 0;
    std::optional<Event> event_;
    std::size_t interruptLength_ = 0;
};

} // namespace sim
