#include "trace/protocol/text.hpp"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace trace {

namespace {

constexpr std::size_t LONGEST_DATA = 32; // bytes in a line of text

std::string_view view(Bytes bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

template <typename... Arguments>
void append(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments)
{
    fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

const Named* named(const Field& field, std::uint32_t number)
{
    if (field.values == nullptr) {
        return nullptr;
    }
    const auto found = std::ranges::find(*field.values, number, &Named::value);
    return found == field.values->end() ? nullptr : &*found;
}

std::size_t widthOfInteger(const Field& field)
{
    return field.type == Type::U8 ? 1 : field.type == Type::U32 ? 4 : 2;
}

void appendHexNumber(std::string& text, const Field& field, std::uint32_t number)
{
    append(text, "0x{:0{}x}", number, 2 * widthOfInteger(field));
}

// "400 kHz", "3300 mV"
void appendAmount(std::string& text, std::uint32_t number, const std::string& unit)
{
    if (unit == "Hz" && number != 0 && number % 1000 == 0) {
        const bool mega = number % 1'000'000 == 0;
        append(text, "{} {}", number / (mega ? 1'000'000 : 1000), mega ? "MHz" : "kHz");
    } else {
        append(text, "{} {}", number, unit);
    }
}

void appendNumber(std::string& text, const Field& field, std::uint32_t number)
{
    if (const Named* const name = named(field, number)) {
        text += name->text;
        if (!field.unit.empty()) {
            append(text, " {}", field.unit);
        }
    } else if (field.format == Format::HEX) {
        appendHexNumber(text, field, number);
    } else if (field.format == Format::FLAG && number <= 1) {
        text += number == 1 ? "on" : "off";
    } else if (field.unit.empty() || field.values != nullptr) {
        append(text, "{}", number);
    } else {
        appendAmount(text, number, field.unit);
    }
}

void appendJsonNumber(std::string& json, const Field& field, std::uint32_t number)
{
    const bool isText = named(field, number) != nullptr || field.format == Format::HEX;
    if (const Named* const name = named(field, number)) {
        append(json, "\"{}\"", name->text);
    } else if (isText) {
        json += '"';
        appendHexNumber(json, field, number);
        json += '"';
    } else if (field.format == Format::FLAG && number <= 1) {
        json += number == 1 ? "true" : "false";
    } else {
        append(json, "{}", number);
    }
}

// Calls `one` for each integer of a list.
template <typename One>
void forEachInteger(const Value& value, One one)
{
    for (const std::uint8_t byte : value.bytes) {
        one(byte);
    }
}

void appendBytes(std::string& text, const Field& field, Bytes bytes)
{
    if (!field.reversed) {
        appendHex(text, bytes);
        return;
    }
    for (std::size_t i = bytes.size(); i > 0; --i) {
        append(text, "{}{:02x}", i == bytes.size() ? "" : " ", bytes[i - 1]);
    }
}

void appendTemplate(std::string& text, const Template& line, const Values& values);

void appendValue(std::string& text, const Value& value)
{
    const Field& field = *value.field;
    const char* separator = "";
    switch (field.type) {
    case Type::BYTES:
    case Type::TEXT: {
        const Bytes shown = value.bytes.first(std::min(value.bytes.size(), LONGEST_DATA));
        field.type == Type::TEXT ? appendQuoted(text, view(shown)) : appendBytes(text, field, shown);
        if (shown.size() < value.bytes.size()) {
            append(text, " ... ({} bytes)", value.bytes.size());
        }
        return;
    }
    case Type::RECORDS:
        forEachRecord(value, [&](const Decoded& record) {
            text += std::exchange(separator, " ");
            appendTemplate(text, field.line, record.values);
        });
        return;
    default:
        if (!field.count) {
            appendNumber(text, field, value.number);
            return;
        }
        forEachInteger(value, [&](std::uint32_t number) {
            text += std::exchange(separator, " ");
            appendNumber(text, field, number);
        });
    }
}

void appendJsonValue(std::string& json, const Value& value)
{
    const Field& field = *value.field;
    const char* separator = "";
    switch (field.type) {
    case Type::BYTES:
        json += '"';
        appendBytes(json, field, value.bytes);
        json += '"';
        return;
    case Type::TEXT:
        appendQuoted(json, view(value.bytes));
        return;
    case Type::RECORDS:
        json += '[';
        forEachRecord(value, [&](const Decoded& record) {
            json += std::exchange(separator, ",");
            appendFields(json, record);
        });
        json += ']';
        return;
    default:
        if (!field.count) {
            appendJsonNumber(json, field, value.number);
            return;
        }
        json += '[';
        forEachInteger(value, [&](std::uint32_t number) {
            json += std::exchange(separator, ",");
            appendJsonNumber(json, field, number);
        });
        json += ']';
    }
}

// Absent, empty or 0.
bool isNothing(const Value* value)
{
    return value == nullptr || (value->number == 0 && value->bytes.empty());
}

void appendTemplate(std::string& text, const Template& line, const Values& values)
{
    for (const Template::Part& part : line.parts) {
        if (part.optional && std::ranges::any_of(part.pieces, [&](const Template::Piece& piece) {
                return !piece.field.empty() && isNothing(findValue(values, piece.field));
            })) {
            continue;
        }
        for (const Template::Piece& piece : part.pieces) {
            text += piece.literal;
            if (const Value* const value = findValue(values, piece.field)) {
                appendValue(text, *value);
            } else if (!piece.field.empty()) {
                text += '?'; // the frame is too short for it
            }
        }
    }
}

void appendName(std::string& text, const std::string& name, const Template& line, const Values& values)
{
    text += name;
    const std::size_t end = text.size();
    text += ' ';
    appendTemplate(text, line, values);
    if (text.size() == end + 1) {
        text.pop_back();
    }
}

void appendUnknown(std::string& text, std::string_view what, std::uint16_t code, Bytes payload)
{
    append(text, "{} 0x{:04x}", what, code);
    if (!payload.empty()) {
        text += ' ';
        const Bytes shown = payload.first(std::min(payload.size(), LONGEST_DATA));
        appendHex(text, shown);
        if (shown.size() < payload.size()) {
            append(text, " ... ({} bytes)", payload.size());
        }
    }
}

std::string_view plural(std::size_t count)
{
    return count == 1 ? "" : "s";
}

void appendFaults(std::string& text, const Decoded& decoded, bool mayHaveMore)
{
    if (decoded.missing != 0) {
        append(text, " ({} byte{} missing)", decoded.missing, plural(decoded.missing));
    } else if (!decoded.extra.empty() && !mayHaveMore) {
        append(text, " ({} byte{} too many)", decoded.extra.size(), plural(decoded.extra.size()));
    } else if (decoded.disagrees) {
        text += " (its counts disagree)";
    }
}

} // namespace

void appendRequest(std::string& text, const Meaning& meaning, Bytes frame, const Decoded& decoded)
{
    if (frame.size() < REQUEST_HEAD) {
        append(text, "request of {} byte{}", frame.size(), plural(frame.size()));
        return;
    }
    if (!meaning.known()) {
        appendUnknown(text, "unknown command", headOf(frame).code, frame.subspan(REQUEST_HEAD));
        return;
    }
    appendName(text, meaning.form->name, meaning.form->line, decoded.values);
    appendFaults(text, decoded, false);
}

void appendResponse(std::string& text, const Table& table, const Meaning& meaning, Bytes frame, const Decoded& decoded)
{
    if (frame.size() < RESPONSE_HEAD) {
        append(text, "response of {} byte{}", frame.size(), plural(frame.size()));
        return;
    }
    const std::size_t begin = text.size();
    const std::uint16_t status = headOf(frame).status;
    if (status == 0 && meaning.known()) {
        appendTemplate(text, meaning.form->result, decoded.values);
    }
    if (text.size() == begin) {
        appendStatus(text, table, status);
    }
    // Behind fields of a fixed size the firmware may have more to say.
    const bool counted = !decoded.values.empty() && !decoded.values.back().bytes.empty();
    appendFaults(text, decoded, !counted);
}

void appendNotification(std::string& text, const Notification* notification, Bytes frame, const Decoded& decoded)
{
    if (notification == nullptr) {
        appendUnknown(text, "unknown notification", headOf(frame).code,
                      frame.subspan(std::min(RESPONSE_HEAD, frame.size())));
        return;
    }
    appendName(text, notification->name, notification->line, decoded.values);
    appendFaults(text, decoded, false);
}

void appendFields(std::string& json, const Decoded& decoded)
{
    const char* separator = "{";
    for (const Value& value : decoded.values) {
        if (!value.field->hidden) {
            append(json, "{}\"{}\":", std::exchange(separator, ","), value.field->name);
            appendJsonValue(json, value);
        }
    }
    if (!decoded.extra.empty()) {
        append(json, "{}\"extra\":\"", std::exchange(separator, ","));
        appendHex(json, decoded.extra);
        json += '"';
    }
    if (decoded.missing != 0) {
        append(json, "{}\"missing\":{}", std::exchange(separator, ","), decoded.missing);
    }
    json += *separator == '{' ? "{}" : "}";
}

std::string_view statusName(const Table& table, std::uint16_t status)
{
    const std::string_view name = table.statusName(status);
    return name.empty() ? "DEVICE_STATUS" : name;
}

void appendStatus(std::string& text, const Table& table, std::uint16_t status)
{
    const std::string_view name = table.statusName(status);
    name.empty() ? append(text, "status 0x{:04x}", status) : append(text, "{}", name);
}

void appendHex(std::string& text, Bytes bytes)
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    text.reserve(text.size() + 3 * bytes.size());
    for (const std::uint8_t& byte : bytes) {
        if (&byte != bytes.data()) {
            text += ' ';
        }
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 0xF];
    }
}

void appendCode(std::string& text, std::uint16_t code)
{
    append(text, "0x{:04x}", code);
}

void appendQuoted(std::string& json, std::string_view text)
{
    const auto isPlain = [](char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; };
    if (std::ranges::all_of(text, isPlain)) {
        json += '"';
        json += text;
        json += '"';
        return;
    }
    json += nlohmann::json(text).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

} // namespace trace
