#include "model/i3c_bus.hpp"

#include <algorithm>
#include <bit>
#include <iterator>
#include <set>
#include <tuple>
#include <utility>

#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::uint8_t FIRST_DYNAMIC = 0x08;
constexpr std::uint8_t LAST_DYNAMIC = 0x7D;

constexpr std::size_t IBI_ADDRESS = 6;
constexpr std::size_t IBI_LENGTH = 7;
constexpr std::size_t IBI_PAYLOAD = 8;
constexpr std::size_t MAX_IBI_PAYLOAD = 255; // its length must fit a byte

constexpr std::size_t HOT_JOIN_PID = 6;
constexpr std::size_t HOT_JOIN_BCR = 12;
constexpr std::size_t HOT_JOIN_DCR = 13;
constexpr std::size_t HOT_JOIN_ADDRESS = 14;
constexpr std::size_t HOT_JOIN_END = 15;

// The I3C standard keeps the lowest addresses, the broadcast address and all that differ from it in one bit.
bool isReserved(std::uint8_t address)
{
    const auto difference = static_cast<unsigned>(address ^ I3cBus::BROADCAST);
    return address < FIRST_DYNAMIC || address > LAST_DYNAMIC || std::popcount(difference) <= 1;
}

// Arbitration: the lowest PID, then BCR, then DCR, most significant bit first, wins.
bool winsAgainst(const I3cTarget* one, const I3cTarget* other)
{
    const auto key = [](const I3cTarget& target) {
        const I3cIdentity& identity = target.identity();
        return std::tuple(identity.pid, identity.bcr, identity.dcr);
    };
    return key(*one) < key(*other);
}

bool isLegacy(const I3cTargetInfo& record)
{
    return record.staticAddress != 0 && record.dynamicAddress == 0;
}

// The address that a listed record claims, 0 for none.
std::uint8_t claimedBy(const I3cTargetInfo& record)
{
    return isLegacy(record) ? record.staticAddress : record.dynamicAddress;
}

bool hasPid(const I3cTarget& target, const I3cTargetInfo& record)
{
    return std::ranges::equal(target.identity().pid, record.pid);
}

} // namespace

I3cBus::I3cBus(Targets targets, LegacyDevices legacyDevices, Notifications& notifications)
    : targets_(std::move(targets)), legacyDevices_(std::move(legacyDevices)), notifications_(notifications)
{
}

bool I3cBus::isUsed(std::uint8_t address) const
{
    return std::ranges::any_of(targets_, [&](const I3cTarget* target) {
        return target->peripheral().dynamicAddress == address || target->isInGroup(address);
    });
}

bool I3cBus::isListed(std::uint8_t address) const
{
    return std::ranges::find(listed_, address, claimedBy) != listed_.end();
}

bool I3cBus::isListedLegacy(std::uint8_t address) const
{
    return std::ranges::any_of(
        listed_, [&](const I3cTargetInfo& record) { return isLegacy(record) && record.staticAddress == address; });
}

void I3cBus::requireFree(std::uint8_t address) const
{
    require(!isReserved(address), DeviceStatus::BAD_PARAMETER);
    require(!isUsed(address) && !isListedLegacy(address), DeviceStatus::ADDRESS_IN_USE);
}

void I3cBus::checkList(const std::vector<I3cTargetInfo>& listed) const
{
    std::set<std::uint8_t> seen;
    for (const I3cTargetInfo& record : listed) {
        asSevenBitAddress(record.staticAddress);
        require(record.dynamicAddress == 0 || !isReserved(record.dynamicAddress), DeviceStatus::BAD_PARAMETER);
        const std::uint8_t claimed = claimedBy(record);
        require(claimed == 0 || seen.insert(claimed).second, DeviceStatus::ADDRESS_IN_USE);
    }
}

void I3cBus::bringUp(std::vector<I3cTargetInfo> listed)
{
    checkList(listed);
    resetAddresses();
    configurations_.clear();
    listed_ = std::move(listed);
    up_ = true;

    bool allAnswered = true;
    for (const I3cTargetInfo& record : listed_) {
        if (record.staticAddress == 0 || record.dynamicAddress == 0) {
            continue;
        }
        if (I3cTarget* const target = unassignedAt(record.staticAddress)) {
            target->peripheral().dynamicAddress = record.dynamicAddress;
        } else {
            allAnswered = false;
        }
    }
    require(allAnswered, DeviceStatus::NACK);
}

I3cTargetInfo I3cBus::describe(const I3cTarget& target) const
{
    const I3cIdentity& identity = target.identity();
    const I3cPeripheral& peripheral = target.peripheral();
    const auto configuration = configurations_.find(&target);
    I3cTargetInfo info{
        .staticAddress = identity.staticAddress,
        .dynamicAddress = peripheral.dynamicAddress,
        .pid = {},
        .bcr = identity.bcr,
        .dcr = identity.dcr,
        .extraWord1 = peripheral.maxWriteLength,
        .extraWord2 = peripheral.maxReadLength,
        .extraByte1 = configuration == configurations_.end() ? std::uint8_t{0} : configuration->second,
        .extraByte2 = peripheral.maxIbiPayload,
    };
    std::ranges::copy(identity.pid, info.pid);
    return info;
}

std::vector<I3cTargetInfo> I3cBus::deviceTable() const
{
    std::vector<I3cTargetInfo> table;
    for (const I3cTarget* target : targets_) {
        if (target->peripheral().dynamicAddress != 0) {
            table.push_back(describe(*target));
        }
    }
    std::ranges::sort(table, {}, &I3cTargetInfo::dynamicAddress);
    std::ranges::copy_if(listed_, std::back_inserter(table), isLegacy);
    return table;
}

void I3cBus::setConfiguration(std::uint8_t dynamicAddress, std::uint8_t configuration)
{
    for (const I3cTarget* target : targets_) {
        if (dynamicAddress != 0 && target->peripheral().dynamicAddress == dynamicAddress) {
            configurations_[target] = configuration;
            return;
        }
    }
    refuse(DeviceStatus::UNKNOWN_TARGET);
}

I3cTarget& I3cBus::target(std::uint8_t dynamicAddress) const
{
    const auto found = std::ranges::find_if(targets_, [&](const I3cTarget* target) {
        return dynamicAddress != 0 && target->peripheral().dynamicAddress == dynamicAddress;
    });
    require(found != targets_.end(), DeviceStatus::NACK);
    return **found;
}

I3cBus::Targets I3cBus::targetsOrGroup(std::uint8_t address) const
{
    Targets members;
    std::ranges::copy_if(targets_, std::back_inserter(members),
                         [&](const I3cTarget* target) { return target->isInGroup(address); });
    return members.empty() ? Targets{&target(address)} : members;
}

I3cTarget* I3cBus::unassignedAt(std::uint8_t staticAddress) const
{
    const auto found = std::ranges::find_if(targets_, [&](const I3cTarget* target) {
        return staticAddress != 0 && target->awaitsAddress() && target->identity().staticAddress == staticAddress;
    });
    return found == targets_.end() ? nullptr : *found;
}

BusDevice& I3cBus::legacyDevice(std::uint8_t address) const
{
    if (const auto found = legacyDevices_.find(address); found != legacyDevices_.end()) {
        return *found->second;
    }
    I3cTarget* const target = unassignedAt(address);
    require(target != nullptr, DeviceStatus::NACK);
    return *target;
}

void I3cBus::start()
{
    for (I3cTarget* target : targets_) {
        target->disarmReset();
    }
}

void I3cBus::resetAddresses()
{
    start();
    for (I3cTarget* target : targets_) {
        target->loseAddresses();
    }
}

// The address that the host listed for the PID, if it is still free, else the first free one, if there is one.
std::optional<std::uint8_t> I3cBus::addressFor(const I3cTarget& target) const
{
    for (const I3cTargetInfo& record : listed_) {
        if (record.dynamicAddress != 0 && hasPid(target, record) && !isUsed(record.dynamicAddress)) {
            return record.dynamicAddress;
        }
    }
    for (std::uint8_t address = FIRST_DYNAMIC; address <= LAST_DYNAMIC; ++address) {
        if (!isReserved(address) && !isUsed(address) && !isListed(address)) {
            return address;
        }
    }
    return std::nullopt;
}

void I3cBus::assignAll()
{
    Targets contenders;
    std::ranges::copy_if(targets_, std::back_inserter(contenders),
                         [](const I3cTarget* target) { return target->awaitsAddress(); });
    std::ranges::sort(contenders, winsAgainst);
    for (I3cTarget* target : contenders) {
        const auto address = addressFor(*target);
        require(address.has_value(), DeviceStatus::ADDRESS_IN_USE);
        target->peripheral().dynamicAddress = *address;
    }
}

void I3cBus::assignStaticAddresses()
{
    for (I3cTarget* target : targets_) {
        const std::uint8_t staticAddress = target->identity().staticAddress;
        if (staticAddress != 0 && target->awaitsAddress() && !isUsed(staticAddress)) {
            target->peripheral().dynamicAddress = staticAddress;
        }
    }
}

void I3cBus::assignFromStatic(std::uint8_t staticAddress, std::uint8_t dynamicAddress)
{
    requireFree(dynamicAddress);
    I3cTarget* const target = unassignedAt(staticAddress);
    require(target != nullptr, DeviceStatus::NACK);
    target->peripheral().dynamicAddress = dynamicAddress;
}

void I3cBus::assignNew(std::uint8_t dynamicAddress, std::uint8_t newAddress)
{
    I3cPeripheral& peripheral = target(dynamicAddress).peripheral();
    if (newAddress != dynamicAddress) {
        requireFree(newAddress);
    }
    peripheral.dynamicAddress = newAddress;
}

void I3cBus::joinGroup(std::uint8_t dynamicAddress, std::uint8_t groupAddress)
{
    I3cTarget& member = target(dynamicAddress);
    require(!isReserved(groupAddress), DeviceStatus::BAD_PARAMETER);
    const bool isTarget = std::ranges::any_of(
        targets_, [&](const I3cTarget* other) { return other->peripheral().dynamicAddress == groupAddress; });
    require(!isTarget && !isListedLegacy(groupAddress), DeviceStatus::ADDRESS_IN_USE);
    if (member.isInGroup(groupAddress)) {
        return;
    }
    auto& groups = member.peripheral().groupAddresses;
    require(groups.size() < member.maxGroups(), DeviceStatus::NACK);
    groups.push_back(groupAddress);
}

// A group address dissolves that group, a target's address takes it out of all of its groups.
void I3cBus::leaveGroups(std::uint8_t address)
{
    for (I3cTarget* member : targetsOrGroup(address)) {
        auto& groups = member->peripheral().groupAddresses;
        if (member->isInGroup(address)) {
            std::erase(groups, address);
        } else {
            groups.clear();
        }
    }
}

void I3cBus::dissolveGroups()
{
    for (I3cTarget* target : targets_) {
        target->peripheral().groupAddresses.clear();
    }
}

void I3cBus::resetPattern()
{
    for (I3cTarget* target : targets_) {
        target->resetPattern();
    }
}

void I3cBus::serveEvents()
{
    for (I3cTarget* target : targets_) {
        const auto event = target->takeEvent();
        if (event == I3cTarget::Event::INTERRUPT) {
            raiseInBandInterrupt(*target, target->interruptPayload());
        } else if (event == I3cTarget::Event::REJOIN) {
            target->loseAddresses();
            raiseHotJoin(*target);
        }
    }
}

bool I3cBus::raiseInBandInterrupt(I3cTarget& target, std::span<const std::uint8_t> payload)
{
    const I3cPeripheral& peripheral = target.peripheral();
    const bool enabled = (peripheral.enabledEvents & event::INTERRUPT) != 0;
    if (!up_ || peripheral.dynamicAddress == 0 || !enabled || !target.has(bcr::IBI_CAPABLE)) {
        return false;
    }
    if (payload.empty()) {
        payload = {&target.identity().mandatoryByte, 1};
    }
    std::size_t length = target.has(bcr::IBI_PAYLOAD) ? std::min(payload.size(), MAX_IBI_PAYLOAD) : 0;
    if (peripheral.maxIbiPayload != 0) {
        length = std::min<std::size_t>(length, peripheral.maxIbiPayload);
    }
    start();
    OutputFrame frame = Notifications::frame(NotificationCode::I3C_IBI, IBI_PAYLOAD);
    frame.setU8(IBI_ADDRESS, peripheral.dynamicAddress);
    frame.setU8(IBI_LENGTH, static_cast<std::uint8_t>(length));
    frame.append(payload.first(length));
    notifications_.add(frame);
    return true;
}

bool I3cBus::raiseHotJoin(I3cTarget& target)
{
    I3cPeripheral& peripheral = target.peripheral();
    const auto address = addressFor(target);
    const bool enabled = (peripheral.enabledEvents & event::HOT_JOIN) != 0;
    if (!up_ || !target.awaitsAddress() || !enabled || !address) {
        return false;
    }
    start();
    peripheral.dynamicAddress = *address;
    const I3cIdentity& identity = target.identity();
    OutputFrame frame = Notifications::frame(NotificationCode::I3C_HOT_JOIN, HOT_JOIN_END);
    for (std::size_t i = 0; i < identity.pid.size(); ++i) {
        frame.setU8(HOT_JOIN_PID + i, identity.pid[i]);
    }
    frame.setU8(HOT_JOIN_BCR, identity.bcr);
    frame.setU8(HOT_JOIN_DCR, identity.dcr);
    frame.setU8(HOT_JOIN_ADDRESS, peripheral.dynamicAddress);
    notifications_.add(frame);
    return true;
}

} // namespace sim
