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

// Sub-commands that neither enter nor leave a supported timing mode change nothing.
void setTiming(I3cTarget& target, const Message& message)
{
    constexpr std::uint8_t ENTER_ASYNC_0 = 0xDF;
    constexpr std::uint8_t ENTER_ASYNC_1 = 0xEF;
    constexpr std::uint8_t LEAVE = 0xFF;
    std::uint8_t& state = target.peripheral().timingState;
    switch (message.payload(1, 255).front()) {
    case ENTER_ASYNC_0:
        state = 0x02;
        break;
    case ENTER_ASYNC_1:
        state = 0x04;
        break;
    case LEAVE:
        state = 0;
        break;
    default:
        break;
    }
}

void setResetAction(I3cTarget& target, const Message& message)
{
    require(message.definingByte.has_value() && message.data.empty(), DeviceStatus::BAD_PARAMETER);
    target.peripheral().resetAction = upTo<I3cTargetResetDefByte::VIRTUAL_TARGET_DETECT>(*message.definingByte);
}

struct Setter {
    CCC code;
    void (*apply)(I3cTarget& target, const Message& message);
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
    Setter{CCC::SETXTIME_BROADCAST, setTiming},
    Setter{CCC::SETXTIME_DIRECT, setTiming},
    Setter{CCC::RSTACT_BROADCAST, setResetAction},
    Setter{CCC::RSTACT_DIRECT, setResetAction},
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

Answer maxReadLength(const I3cTarget& target, const Message&)
{
    Answer answer = bigEndian(target.peripheral().maxReadLength);
    if (target.has(bcr::IBI_PAYLOAD)) {
        answer.push_back(target.peripheral().maxIbiPayload);
    }
    return answer;
}

// Only the basic form, which may also be asked for by defining byte 0; the others belong to controller-capable targets.
void requireBasicForm(const Message& message)
{
    require(message.definingByte.value_or(0) == 0, DeviceStatus::NACK);
}

Answer status(const I3cTarget& target, const Message& message)
{
    requireBasicForm(message);
    return bigEndian(static_cast<std::uint16_t>(target.peripheral().activityState << 6));
}

Answer capabilities(const I3cTarget& target, const Message& message)
{
    requireBasicForm(message);
    const std::uint8_t hdrModes = target.has(bcr::ADVANCED) ? 0x01 : 0x00;   // HDR-DDR
    const std::uint8_t versionAndGroups = I3cTarget::MAX_GROUPS << 4 | 0x01; // version 1.1
    return {hdrModes, versionAndGroups, 0x00, 0x00};
}

Answer maxDataSpeed(const I3cTarget& target, const Message&)
{
    require(target.has(bcr::SPEED_LIMITED), DeviceStatus::NACK);
    return {0x01, 0x01, 0x14, 0x00, 0x00}; // writes and reads at 8 MHz, 20 us of turnaround
}

Answer timing(const I3cTarget& target, const Message&)
{
    // Asynchronous modes 0 and 1, the state, the clock in 0.5 MHz, its inaccuracy in 0.1 %.
    return {0x06, target.peripheral().timingState, 0x18, 0x0A};
}

Answer resetTime(const I3cTarget&, const Message& message)
{
    require(message.definingByte.has_value(), DeviceStatus::BAD_PARAMETER);
    switch (I3cTargetResetDefByte{*message.definingByte}) {
    case I3cTargetResetDefByte::TIME_RESET_PERIPHERAL:
        return {0x01};
    case I3cTargetResetDefByte::TIME_RESET_WHOLE_TARGET:
        return {0x0A};
    case I3cTargetResetDefByte::TIME_RESET_DEBUG_ADAPTER:
    case I3cTargetResetDefByte::VIRTUAL_TARGET_INDICATION:
        return {0x00};
    default:
        refuse(DeviceStatus::BAD_PARAMETER);
    }
}

struct Getter {
    CCC code;
    Answer (*read)(const I3cTarget& target, const Message& message);
};

constexpr std::array GETTERS{
    Getter{CCC::GETMWL, [](const I3cTarget& t, const Message&) { return bigEndian(t.peripheral().maxWriteLength); }},
    Getter{CCC::GETMRL, maxReadLength},
    Getter{CCC::GETPID,
           [](const I3cTarget& t, const Message&) { return Answer(t.identity().pid.begin(), t.identity().pid.end()); }},
    Getter{CCC::GETBCR, [](const I3cTarget& t, const Message&) { return Answer{t.identity().bcr}; }},
    Getter{CCC::GETDCR, [](const I3cTarget& t, const Message&) { return Answer{t.identity().dcr}; }},
    Getter{CCC::GETSTATUS, status},
    Getter{CCC::GETMXDS, maxDataSpeed},
    Getter{CCC::GETCAPS, capabilities},
    Getter{CCC::GETXTIME, timing},
    Getter{CCC::RSTACT_DIRECT, resetTime},
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
    for (I3cTarget* const target : message.isBroadcast() ? bus.targets() : bus.targetsOrGroup(message.address)) {
        setter->apply(*target, message);
    }
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
