// One frame, taken apart into the fields that the table names. Frames come from files and from the wire: no count is
// believed beyond the bytes that are there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "trace/protocol/table.hpp"

namespace trace {

using Bytes = std::span<const std::uint8_t>;

// What every frame begins with. A frame may be too short for all of it; what is not there is 0.
struct Head {
    std::uint16_t id = 0;
    std::uint16_t code = 0;
    std::uint16_t status = 0; // of responses and notifications
};

inline constexpr std::size_t REQUEST_HEAD = 4;
inline constexpr std::size_t RESPONSE_HEAD = 6;

Head headOf(Bytes frame);

// One field of a frame.
struct Value {
    const Field* field;
    std::uint32_t number = 0; // of an integer
    Bytes bytes{};            // of anything else, within the frame
};

using Values = std::vector<Value>;

// Null when the frame does not have the field.
const Value* findValue(const Values& values, std::string_view name);

// A frame as its table row reads it. It points into the frame.
struct Decoded {
    Values values;
    std::size_t missing = 0; // bytes that the fields need beyond the end of the frame
    Bytes extra{};           // bytes behind the last field
    bool disagrees = false;  // a count says something else than what is there

    // Empties it and keeps the memory.
    void clear();
};

// Which command a request is, and in which form.
struct Meaning {
    const Command* command = nullptr; // null for a code that the table does not have
    const Form* form = nullptr;       // likewise; the command's own where it has no others, or none of them fits

    bool known() const { return command != nullptr; }
};

// Decodes into `decoded`, whose memory is used again.
Meaning decodeRequest(const Table& table, Bytes frame, Decoded& decoded);

// `request` is what was decoded of the request; null for a response without one, of which `meaning` is its code's.
void decodeResponse(const Meaning& meaning, Bytes frame, const Decoded* request, Decoded& decoded);

// Null for a code that the table does not have.
const Notification* decodeNotification(const Table& table, Bytes frame, Decoded& decoded);

// One record: its fields have neither counts nor conditions.
void decodeRecord(const std::vector<Field>& fields, Bytes record, Decoded& decoded);

// Calls `one` with each whole record of a field of them.
template <typename One>
void forEachRecord(const Value& value, One one)
{
    const std::size_t size = std::max<std::size_t>(value.field->size, 1);
    Decoded record;
    for (Bytes rest = value.bytes; rest.size() >= size; rest = rest.subspan(size)) {
        decodeRecord(value.field->fields, rest.first(size), record);
        one(record);
    }
}

// What a response without a request can be: the command of its code.
Meaning meaningOf(const Table& table, std::uint16_t code);

} // namespace trace
