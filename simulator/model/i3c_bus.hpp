// The I3C bus: who is on it, who has which address, and the events that targets raise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "devices/bus_device.hpp"
#include "devices/i3c_target.hpp"
#include "model/notifications.hpp"
#include "tarvixsdk/types.h"

namespace sim {

class I3cBus {
public:
    using Targets = std::vector<I3cTarget*>;
    using LegacyDevices = std::map<std::uint8_t, BusDevice*>; // I2C devices by their addresses

    static constexpr std::uint8_t BROADCAST = 0x7E;

    I3cBus(Targets targets, LegacyDevices legacyDevices, Notifications& notifications);

    bool isUp() const { return up_; }

    // Starts afresh with the targets that the host expects: those with both addresses get their dynamic address at
    // once, those with a dynamic address and a PID when ENTDAA finds them. Refuses a list that cannot be, before it
    // changes anything; refuses with NACK, with the bus up, when no target has a listed static address.
    void bringUp(std::vector<I3cTargetInfo> listed);

    // Targets with a dynamic address in the order of these, then the listed legacy devices.
    std::vector<I3cTargetInfo> deviceTable() const;
    void setConfiguration(std::uint8_t dynamicAddress, std::uint8_t configuration);

    // Whom an address reaches; refuse with NACK when nobody is there.
    I3cTarget& target(std::uint8_t dynamicAddress) const;
    Targets targetsOrGroup(std::uint8_t address) const;
    BusDevice& legacyDevice(std::uint8_t address) const;
    const Targets& targets() const { return targets_; }

    // A START goes over the bus: what RSTACT armed before it is forgotten.
    void start();

    // Address assignment, by the Common Command Codes of the same names.
    void resetAddresses();                                                          // RSTDAA
    void assignAll();                                                               // ENTDAA, while any is left
    void assignStaticAddresses();                                                   // SETAASA
    void assignFromStatic(std::uint8_t staticAddress, std::uint8_t dynamicAddress); // SETDASA
    void assignNew(std::uint8_t dynamicAddress, std::uint8_t newAddress);           // SETNEWDA
    void joinGroup(std::uint8_t dynamicAddress, std::uint8_t groupAddress);         // SETGRPA
    void leaveGroups(std::uint8_t address);                                         // RSTGRPA
    void dissolveGroups();                                                          // RSTGRPA, broadcast

    void resetPattern();

    // Carries out what a write to a target's trigger register asked for.
    void serveEvents();

    // False when the target may not do so now.
    bool raiseInBandInterrupt(I3cTarget& target, std::span<const std::uint8_t> payload);
    bool raiseHotJoin(I3cTarget& target);

private:
    void requireFree(std::uint8_t address) const;
    bool isUsed(std::uint8_t address) const;
    bool isListed(std::uint8_t address) const;
    bool isListedLegacy(std::uint8_t address) const;
    void checkList(const std::vector<I3cTargetInfo>& listed) const;
    std::optional<std::uint8_t> addressFor(const I3cTarget& target) const;
    I3cTarget* unassignedAt(std::uint8_t staticAddress) const;
    I3cTargetInfo describe(const I3cTarget& target) const;

    Targets targets_;
    LegacyDevices legacyDevices_;
    Notifications& notifications_;
    bool up_ = false;
    std::vector<I3cTargetInfo> listed_;
    std::map<const I3cTarget*, std::uint8_t> configurations_;
};

} // namespace sim
