#include <algorithm>

#include "board/device_types.hpp"

namespace sim {

namespace {

template <class Value>
void readByte(Object& object, const std::string& key, Value& value)
{
    if (const auto given = object.find(key)) {
        value = static_cast<std::uint8_t>(given->number(0, 0xFF));
    }
}

void readLength(Object& object, const std::string& key, std::uint16_t& length)
{
    if (const auto given = object.find(key)) {
        length = static_cast<std::uint16_t>(given->number(0, 0xFFFF));
    }
}

template <std::size_t COUNT>
void readExactly(const Node& node, std::array<std::uint8_t, COUNT>& value, std::string_view what)
{
    const auto bytes = node.bytes(COUNT);
    if (bytes.size() != COUNT) {
        node.fail(what);
    }
    std::ranges::copy(bytes, value.begin());
}

// As many as are counted, or those that have values if there are more than usual.
void readRegisters(Object& object, I3cIdentity& identity)
{
    constexpr std::size_t MOST = 256;
    const auto count = object.find("register_count");
    std::size_t most = MOST;
    if (count) {
        most = count->number(1, MOST);
        identity.registers.resize(most);
    }
    if (const auto given = object.find("registers")) {
        const auto values = given->bytes(most);
        identity.registers.resize(std::max(values.size(), identity.registers.size()));
        std::ranges::copy(values, identity.registers.begin());
    }
    if (const auto triggers = object.find("event_triggers")) {
        identity.eventTriggers = triggers->flag();
    }
}

// Replies to codes that only some targets answer otherwise.
void readReplies(Object& object, I3cIdentity& identity)
{
    if (const auto capabilities = object.find("getcaps")) {
        identity.capabilities = capabilities->bytes(4);
    }
    if (const auto speed = object.find("getmxds")) {
        readExactly(*speed, identity.maxDataSpeed, "the reply has 5 bytes, as in \"hex:01 01 14 00 00\"");
    }
    if (const auto timing = object.find("getxtime")) {
        Object fields(*timing);
        readByte(fields, "modes", identity.timingModes);
        readByte(fields, "clock", identity.clock);
        readByte(fields, "inaccuracy", identity.clockInaccuracy);
        fields.end();
    }
    if (const auto reset = object.find("rstact")) {
        Object replies(*reset);
        readByte(replies, "0x81", identity.peripheralResetTime);
        readByte(replies, "0x82", identity.wholeResetTime);
        readByte(replies, "0x83", identity.debugResetTime);
        readByte(replies, "0x84", identity.virtualTargetIndication);
        replies.end();
    }
}

} // namespace

DeviceBoard<I3cTarget> readI3cTarget(const Node& node, const std::string& name)
{
    Object object(node);
    I3cIdentity identity{};
    if (const auto address = object.find("static_address")) {
        identity.staticAddress = static_cast<std::uint8_t>(address->number(0x08, 0x7D));
    }
    readExactly(object.get("pid"), identity.pid, "a PID has 6 bytes, as in \"hex:7f fe 12 34 50 01\"");
    identity.bcr = static_cast<std::uint8_t>(object.get("bcr").number(0, 0xFF));
    identity.dcr = static_cast<std::uint8_t>(object.get("dcr").number(0, 0xFF));
    readRegisters(object, identity);
    readByte(object, "mandatory_byte", identity.mandatoryByte);
    readLength(object, "max_write_length", identity.maxWriteLength);
    readLength(object, "max_read_length", identity.maxReadLength);
    readByte(object, "max_ibi_payload", identity.maxIbiPayload);
    readReplies(object, identity);
    DeviceBoard<I3cTarget> board{.name = name, .type = "i3c_target", .lines = {}, .make = {}};
    if (const auto given = object.find("name")) {
        board.name = given->text();
    }
    object.end();
    if (const char* const why = contradiction(identity)) {
        node.fail(why);
    }
    board.make = [identity](World&) { return std::make_unique<I3cTarget>(identity); };
    return board;
}

} // namespace sim
