// What docs/wire-protocol.json says of every command and notification, ready to decode with. That file's description,
// in docs/wire-protocol.md, has the meaning of every member.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace trace {

enum class Type { U8, U16, U32, U16_BIG_ENDIAN, BYTES, TEXT, RECORDS };
enum class Format { DECIMAL, HEX, FLAG };

// A field of this frame, or of the request that it answers.
struct Reference {
    std::string name;
    bool inRequest = false;
};

struct Condition {
    Reference field;
    std::vector<std::uint32_t> values;
};

struct Named {
    std::uint32_t value;
    std::string name; // as in types.h
    std::string text;
};
using Enumeration = std::vector<Named>;

// "bus {bus}[ reg {register}]" taken apart.
struct Template {
    struct Piece {
        std::string literal; // before the field
        std::string field;   // empty for none
    };
    struct Part {
        bool optional;
        std::vector<Piece> pieces;
    };
    std::vector<Part> parts;
};

struct Field {
    std::string name;
    Type type = Type::U8;
    std::optional<std::size_t> at;
    unsigned firstBit = 0;
    unsigned lastBit = 31;
    std::optional<Reference> count;
    std::uint32_t times = 1;
    std::uint32_t less = 0;
    std::optional<Reference> announced;
    std::size_t size = 0; // 0 for none
    bool reversed = false;
    bool hidden = false;
    Format format = Format::DECIMAL;
    std::string unit;
    const Enumeration* values = nullptr;
    std::vector<Condition> when;
    std::vector<Field> fields; // of a record
    Template line;             // of a record
};

// One way in which a command goes over the wire.
struct Form {
    std::vector<Condition> when;
    std::string name;
    std::vector<std::string> methods;
    std::vector<Field> request; // behind those of the command
    std::vector<Field> response;
    Template line;
    Template result;
};

struct Command {
    std::uint16_t code;
    std::string family;
    bool noResponse = false;
    Form common;
    std::vector<Form> forms;
};

struct Notification {
    std::uint16_t code;
    std::string family;
    std::string name;
    std::vector<Field> fields;
    Template line;
};

struct Device {
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::size_t reportSize;
};

class Table {
public:
    // Throws nlohmann::json::exception or std::invalid_argument for a table that is not one.
    explicit Table(std::string_view json);
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    // The one that this program was built with.
    static const Table& builtIn();

    // Null for a code that the table does not have.
    const Command* command(std::uint16_t code) const;
    const Notification* notification(std::uint16_t code) const;

    // Empty for a number without a name.
    std::string_view statusName(std::uint16_t status) const;

    const std::vector<Device>& devices() const { return devices_; }
    const std::vector<std::string>& families() const { return families_; }
    const std::vector<std::pair<std::uint16_t, std::string>>& statuses() const { return statuses_; }
    const std::map<std::string, Enumeration, std::less<>>& enumerations() const { return enumerations_; }
    const std::vector<Command>& commands() const { return commands_; }
    const std::vector<Notification>& notifications() const { return notifications_; }

private:
    std::vector<Device> devices_;
    std::vector<std::string> families_;
    std::vector<std::pair<std::uint16_t, std::string>> statuses_;
    std::map<std::string, Enumeration, std::less<>> enumerations_; // fields point into it
    std::vector<Command> commands_;                                // in rising order, as the next
    std::vector<Notification> notifications_;
};

} // namespace trace
