// Standard output: text for people or JSON for programs. Everything else goes to standard error.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <nlohmann/json_fwd.hpp>

namespace tool {

// Keeps the order in which fields are given.
using Json = nlohmann::ordered_json;

class Output {
public:
    explicit Output(bool json) : json_(json) {}

    bool json() const { return json_; }

    // The name that JSON objects carry from now on, such as "gpio get".
    void beginCommand(std::string name)
    {
        command_ = std::move(name);
        printed_ = false;
    }
    const std::string& command() const { return command_; }

    // The result of a command, once a run. `text` gets a line end if it has none, and each line is made printable:
    // what comes from outside never controls a terminal. `fields` is an object; "schema" and
    // "command" are put before it. A failure after it (an expectation that was not met) is no second object.
    void print(std::string_view text, const Json& fields);
    bool printed() const { return printed_; }

    // One line of a stream, in the same form.
    void printEvent(std::string_view text, const Json& fields);

    // The same for bytes that were read: a hexdump, or the object with a field "data" in hex; `raw` writes them alone.
    void printData(std::span<const std::uint8_t> bytes, std::uint64_t firstOffset, const Json& fields,
                   bool raw = false);

    // Bytes as they are (--raw), or any text, in either mode.
    void write(std::string_view bytes);
    void write(std::span<const std::uint8_t> bytes);

private:
    bool json_;
    std::string command_;
    bool printed_ = false;
};

} // namespace tool
