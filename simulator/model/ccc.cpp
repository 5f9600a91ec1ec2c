#include "model/ccc.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "model/refusal.hpp"
#include "tarvixsdk/types.h"

namespace sim {

namespace {

constexpr std::size_t ADDRESS = 6;
constexpr std::size_t FLAGS = 7;
constexpr std::size_t CODE = 8;
constexpr std::size_t COUNT = 9;
constexpr std::size_t DATA = 10;

constexpr std::uint8_t FLAG_READ = 0x01;
constexpr std::uint8_t FLAG_MODE = 0x06; // 0 is SDR
constexpr std::uint8_t FLAG_DEFINING_BYTE = 0x10;
constexpr std::uint8_t FLAG_UNUSED = 0xE0;
constexpr std::uint8_t FIRST_DIRECT = 0x80;

struct Message {
    std::uint8_t address;
    std::uint8_t flags;
    std::uint8_t length;
    CCC code;
    std::optional<std::uint8_t> definingByte;
    std::span<const std::uint8_t> data;

    explicit Message(Request& request);

    bool reads() const { return (flags & FLAG_READ) != 0; }
    bool isBroadcast() const { return static_cast<std::uint32_t>(code) < FIRST_DIRECT; }

    // The data, which must be that long and come without a defining byte.
    std::span<const std::uint8_t> payload(std::size_t minimum, std::size_t maximum) const;
    // The one byte after the code. In a broadcast, a defining byte and a data byte look alike on the wire.
    std::uint8_t soleByte() const;
    // The 7-bit address that stands shifted left in the one byte of data.
    std::uint8_t shiftedAddress() const;
};

Message::Message(Request& request)
    : address(request.u8()), flags(request.u8()), length(request.u8()), code(CCC{request.u8()})
{
    const std::uint8_t definingField = request.u8();
    if ((flags & FLAG_DEFINING_BYTE) != 0) {
        definingByte = definingField;
    }
    data = request.rest();
    // The length of a write may or may not count the defining byte.
    const std::size_t counted = data.size() + (definingByte && length > data.size() ? 1 : 0);
    require(reads() ? data.empty() : length == counted, DeviceStatus::MALFORMED_FRAME);
    require((flags & (FLAG_MODE | FLAG_UNUSED)) == 0, DeviceStatus::BAD_PARAMETER);
    asSevenBitAddress(address);
    require(isBroadcast() == (address == I3cBus::BROADCAST), DeviceStatus::BAD_PARAMETER);
}

std::span<const std::uint8_t> Message::payload(std::size_t minimum, std::size_t maximum) const
{
    require(!definingByte && data.size() >= minimum && data.size() <= maximum, DeviceStatus::BAD_PARAMETER);
    return data;
}

std::uint8_t Message::soleByte() const
{
    require(data.size() + (definingByte ? 1 : 0) == 1, DeviceStatus::BAD_PARAMETER);
    return definingByte ? *definingByte : data.front();
}

std::uint8_t Message::shiftedAddress() const
{
    const std::uint8_t shifted = payload(1, 1).front();
    require(shifted % 2 == 0, DeviceStatus::BAD_PARAMETER);
    return shifted >> 1;
}

std::uint16_t bigEndian(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

std::vector<std::uint8_t> bigEndian(std::uint16_t value)
{
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

// ---- Codes that set something in a target, broadcast or direct --------------------------------------------------

void enableEvents(I3cTarget& target, const Message& message)
{
    target.peripheral().enabledEvents |= message.soleByte();
}

void disableEvents(I3cTarget& target, const Message& message)
{
    target.peripheral().enabledEvents &= static_cast<std::uint8_t>(~message.soleByte());
}

// The four codes ENTAS0 to ENTAS3 follow one another.
template <std::uint8_t state>
void enterActivityState(I3cTarget& target, const Message& message)
{
    message.payload(0, 0);
    target.peripheral().activityState = state;
}

void setMaxWriteLength(I3cTarget& target, const Message& message)
{
    target.peripheral().maxWriteLength = bigEndian(message.payload(2, 2));
}

void setMaxReadLength(I3cTarget& target, const Message& message)
{
    const auto payload = message.payload(2, 3);
    target.peripheral().maxReadLength = bigEndian(payload);
    if (payload.size() == 3 && target.has(bcr::IBI_PAYLOAD)) {
        target.peripheral().maxIbiPayload = payload[2];
    }
}

void setBusContext(I3cTarget& target, const Message& message)
{
    target.peripheral().busContext = message.payload(1, 255).front();
}

bool hasTiming(const I3cTarget& target, const Message&)
{
    return target.identity().timingModes != 0;
}

// Sub-commands that neither enter nor leave a supported timing mode change nothing.
void setTiming(I3cTarget& target, const Message& message)
{
    constexpr std::uint8_t ENTER_ASYNC_0 = 0xDF;
    constexpr std::uint8_t ENTER_ASYNC_1 = 0xEF;
    constexpr std::uint8_t LEAVE = 0xFF;
    const std::uint8_t subcommand = message.payload(1, 255).front();
    const std::uint8_t mode = subcommand == ENTER_ASYNC_0 ? 0x02 : subcommand == ENTER_ASYNC_1 ? 0x04 : 0x00;
    if (subcommand == LEAVE || (target.identity().timingModes & mode) != 0) {
        target.peripheral().timingState = mode;
    }
}

I3cTargetResetDefByte resetAction(const Message& message)
{
    require(message.definingByte.has_value() && message.data.empty(), DeviceStatus::BAD_PARAMETER);
    return upTo<I3cTargetResetDefByte::VIRTUAL_TARGET_DETECT>(*message.definingByte);
}

bool hasResetAction(const I3cTarget& target, const Message& message)
{
    return target.supports(resetAction(message));
}

void setResetAction(I3cTarget& target, const Message& message)
{
    target.armReset(resetAction(message));
}

bool always(const I3cTarget&, const Message&)
{
    return true;
}

struct Setter {
    CCC code;
    void (*apply)(I3cTarget& target, const Message& message);
    bool (*supports)(const I3cTarget& target, const Message& message) = always;
};

constexpr std::array SETTERS{
    Setter{CCC::ENEC_BROADCAST, enableEvents},
    Setter{CCC::ENEC_DIRECT, enableEvents},
    Setter{CCC::DISEC_BROADCAST, disableEvents},
    Setter{CCC::DISEC_DIRECT, disableEvents},
    Setter{CCC::ENTAS0_BROADCAST, enterActivityState<0>},
    Setter{CCC::ENTAS0_DIRECT, enterActivityState<0>},
    Setter{CCC::ENTAS1_BROADCAST, enterActivityState<1>},
    Setter{CCC::ENTAS1_DIRECT, enterActivityState<1>},
    Setter{CCC::ENTAS2_BROADCAST, enterActivityState<2>},
    Setter{CCC::ENTAS2_DIRECT, enterActivityState<2>},
    Setter{CCC::ENTAS3_BROADCAST, enterActivityState<3>},
    Setter{CCC::ENTAS3_DIRECT, enterActivityState<3>},
    Setter{CCC::SETMWL_BROADCAST, setMaxWriteLength},
    Setter{CCC::SETMWL_DIRECT, setMaxWriteLength},
    Setter{CCC::SETMRL_BROADCAST, setMaxReadLength},
    Setter{CCC::SETMRL_DIRECT, setMaxReadLength},
    Setter{CCC::SETBUSCON, setBusContext},
    Setter{CCC::SETXTIME_BROADCAST, setTiming, hasTiming},
    Setter{CCC::SETXTIME_DIRECT, setTiming, hasTiming},
    Setter{CCC::RSTACT_BROADCAST, setResetAction, hasResetAction},
    Setter{CCC::RSTACT_DIRECT, setResetAction, hasResetAction},
};

// ---- Codes about addresses, which concern the whole bus ----------------------------------------------------------

struct BusAction {
    CCC code;
    void (*apply)(I3cBus& bus, const Message& message);
};

constexpr std::array BUS_ACTIONS{
    BusAction{CCC::RSTDAA, [](I3cBus& bus, const Message&) { bus.resetAddresses(); }},
    BusAction{CCC::ENTDAA, [](I3cBus& bus, const Message&) { bus.assignAll(); }},
    BusAction{CCC::SETAASA, [](I3cBus& bus, const Message&) { bus.assignStaticAddresses(); }},
    BusAction{CCC::SETDASA, [](I3cBus& bus, const Message& m) { bus.assignFromStatic(m.address, m.shiftedAddress()); }},
    BusAction{CCC::SETNEWDA, [](I3cBus& bus, const Message& m) { bus.assignNew(m.address, m.shiftedAddress()); }},
    BusAction{CCC::SETGRPA, [](I3cBus& bus, const Message& m) { bus.joinGroup(m.address, m.shiftedAddress()); }},
    BusAction{CCC::RSTGRPA_BROADCAST, [](I3cBus& bus, const Message&) { bus.dissolveGroups(); }},
    BusAction{CCC::RSTGRPA_DIRECT, [](I3cBus& bus, const Message& m) { bus.leaveGroups(m.address); }},
};

// ---- Codes that read something from a target -----------------------------------------------------------------------

using Answer = std::vector<std::uint8_t>;

template <std::size_t size>
Answer bytesOf(const std::array<std::uint8_t, size>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

Answer maxReadLength(I3cTarget& target, const Message&)
{
    Answer answer = bigEndian(target.peripheral().maxReadLength);
    if (target.has(bcr::IBI_PAYLOAD)) {
        answer.push_back(target.peripheral().maxIbiPayload);
    }
    return answer;
}

// The basic form. A target that announces defining bytes takes it by defining byte 0, too; no target here has others.
void requireBasicForm(const I3cTarget& target, const Message& message, std::uint8_t announcedBy)
{
    const bool hasDefiningByte = (target.capabilities(3) & announcedBy) != 0;
    require(!message.definingByte || (hasDefiningByte && *message.definingByte == 0), DeviceStatus::NACK);
}

Answer status(I3cTarget& target, const Message& message)
{
    requireBasicForm(target, message, caps3::GETSTATUS_DEFINING_BYTE);
    target.endEscalation();
    return bigEndian(static_cast<std::uint16_t>(target.peripheral().activityState << 6));
}

Answer capabilities(I3cTarget& target, const Message& message)
{
    requireBasicForm(target, message, caps3::GETCAPS_DEFINING_BYTE);
    require(!target.identity().capabilities.empty(), DeviceStatus::NACK);
    return target.identity().capabilities;
}

Answer maxDataSpeed(I3cTarget& target, const Message&)
{
    require(target.has(bcr::SPEED_LIMITED), DeviceStatus::NACK);
    return bytesOf(target.identity().maxDataSpeed);
}

Answer timing(I3cTarget& target, const Message& message)
{
    require(hasTiming(target, message), DeviceStatus::NACK);
    const I3cIdentity& identity = target.identity();
    return {identity.timingModes, target.peripheral().timingState, identity.clock, identity.clockInaccuracy};
}

// The reply to RSTACT: what is armed for the byte of an action, else a fact about the target.
std::uint8_t resetFact(const I3cTarget& target, I3cTargetResetDefByte definingByte)
{
    const I3cIdentity& identity = target.identity();
    switch (definingByte) {
    case I3cTargetResetDefByte::TIME_RESET_PERIPHERAL:
        return identity.peripheralResetTime;
    case I3cTargetResetDefByte::TIME_RESET_WHOLE_TARGET:
        return identity.wholeResetTime;
    case I3cTargetResetDefByte::TIME_RESET_DEBUG_ADAPTER:
        return *identity.debugResetTime;
    case I3cTargetResetDefByte::VIRTUAL_TARGET_INDICATION:
        return *identity.virtualTargetIndication;
    default:
        return static_cast<std::uint8_t>(target.armedReset());
    }
}

Answer readReset(I3cTarget& target, const Message& message)
{
    using enum I3cTargetResetDefByte;
    const I3cTargetResetDefByte definingByte{message.definingByte.value_or(0xFF)};
    require(definingByte <= VIRTUAL_TARGET_DETECT ||
                (definingByte >= TIME_RESET_PERIPHERAL && definingByte <= VIRTUAL_TARGET_INDICATION),
            DeviceStatus::BAD_PARAMETER);
    require(target.supports(definingByte), DeviceStatus::NACK);
    target.endEscalation();
    return {resetFact(target, definingByte)};
}

struct Getter {
    CCC code;
    Answer (*read)(I3cTarget& target, const Message& message);
};

constexpr std::array GETTERS{
    Getter{CCC::GETMWL, [](I3cTarget& t, const Message&) { return bigEndian(t.peripheral().maxWriteLength); }},
    Getter{CCC::GETMRL, maxReadLength},
    Getter{CCC::GETPID, [](I3cTarget& t, const Message&) { return bytesOf(t.identity().pid); }},
    Getter{CCC::GETBCR, [](I3cTarget& t, const Message&) { return Answer{t.identity().bcr}; }},
    Getter{CCC::GETDCR, [](I3cTarget& t, const Message&) { return Answer{t.identity().dcr}; }},
    Getter{CCC::GETSTATUS, status},
    Getter{CCC::GETMXDS, maxDataSpeed},
    Getter{CCC::GETCAPS, capabilities},
    Getter{CCC::GETXTIME, timing},
    Getter{CCC::RSTACT_DIRECT, readReset},
};

// The row of a code, null when the table has none.
template <class Table>
const typename Table::value_type* find(const Table& table, CCC code)
{
    const auto row = std::ranges::find(table, code, &Table::value_type::code);
    return row == table.end() ? nullptr : &*row;
}

void write(I3cBus& bus, const Message& message)
{
    if (const BusAction* const action = find(BUS_ACTIONS, message.code)) {
        action->apply(bus, message);
        return;
    }
    const Setter* const setter = find(SETTERS, message.code);
    require(setter != nullptr, DeviceStatus::BAD_PARAMETER);
    bool acknowledged = message.isBroadcast();
    for (I3cTarget* const target : message.isBroadcast() ? bus.targets() : bus.targetsOrGroup(message.address)) {
        if (!target->isInReset() && setter->supports(*target, message)) {
            setter->apply(*target, message);
            acknowledged = true;
        }
    }
    require(acknowledged, DeviceStatus::NACK);
}

Answer read(const I3cBus& bus, const Message& message)
{
    const Getter* const getter = find(GETTERS, message.code);
    require(getter != nullptr, DeviceStatus::BAD_PARAMETER);
    Answer answer = getter->read(bus.target(message.address), message);
    // The controller ends a read that it wants no more of.
    answer.resize(std::min<std::size_t>(answer.size(), message.length));
    return answer;
}

void transfer(I3cBus& bus, Request& request, OutputFrame& response)
{
    const Message message(request);
    require(bus.isUp(), DeviceStatus::NOT_INITIALISED);
    // The adapter joins RSTACTs by repeated STARTs. Otherwise each would disarm the targets of those before it.
    if (message.code != CCC::RSTACT_BROADCAST && message.code != CCC::RSTACT_DIRECT) {
        bus.start();
    }
    Answer answer;
    if (message.reads()) {
        answer = read(bus, message);
    } else {
        write(bus, message);
    }
    response.setU8(ADDRESS, message.address);
    response.setU8(FLAGS, message.flags);
    response.setU8(CODE, static_cast<std::uint8_t>(message.code));
    response.setU8(COUNT, static_cast<std::uint8_t>(answer.size()));
    response.append(answer);
}

} // namespace

void addCccCommands(CommandTable& table, I3cBus& bus)
{
    table.add(CommandCode::I3C_CCC_TRANSFER, bus, transfer, DATA);
}

} // namespace sim
