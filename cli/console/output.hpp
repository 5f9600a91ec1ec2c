// Standard output: text for people or JSON for programs. Everything else goes to standard error.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <nlohmann/json_fwd.hpp>

namespace tool {

// Keeps the order in which fields are given.
using Json = nlohmann::ordered_json;

// What was printed, in both forms, whichever of them was.
struct Printed {
    std::string text;
    std::shared_ptr<Json> fields; // null for none
};

class Output {
public:
    explicit Output(bool json) : json_(json) {}

    bool json() const { return json_; }

    // The name that JSON objects carry from now on, such as "gpio get".
    void beginCommand(std::string name)
    {
        command_ = std::move(name);
        result_.reset();
    }
    const std::string& command() const { return command_; }

    // The adapter that JSON objects name from now on; empty for none.
    void nameAdapter(std::string selector) { adapter_ = std::move(selector); }

    // The result of a command, once a run. `text` gets a line end if it has none, and each line is made printable:
    // what comes from outside never controls a terminal. `fields` is an object; "schema", "command" and "adapter" are
    // put before it. It is written at the end, because a command may still fail: an expectation that was not met.
    void print(std::string_view text, const Json& fields);

    // Ends a command. `error` says why it failed.
    void end();
    void end(const Json& error);

    // One line of a stream, in the same form, at once.
    void printEvent(std::string_view text, const Json& fields);

    // The same for bytes that were read: a hexdump, or the object with a field "data" in hex; `raw` writes them alone.
    void printData(std::span<const std::uint8_t> bytes, std::uint64_t firstOffset, const Json& fields,
                   bool raw = false);

    // Bytes as they are (--raw), or any text, in either mode.
    void write(std::string_view bytes);
    void write(std::span<const std::uint8_t> bytes);

    // From now on writes nothing, or does again: what a command says of answers that nobody gave is no output.
    void mute(bool muted) { muted_ = muted; }
    bool muted() const { return muted_; }

    // From now on keeps what is printed; null ends that.
    void recordInto(Printed* printed) { printed_ = printed; }

    // How many bytes standard output has taken so far.
    std::uint64_t written() const { return written_; }

private:
    void show(std::string_view text, const Json& fields);
    void writeObject(const Json& fields);
    void put(std::string_view bytes);

    bool json_;
    bool muted_ = false;
    std::string command_;
    std::string adapter_;
    std::uint64_t written_ = 0;
    Printed* printed_ = nullptr;
    std::shared_ptr<Json> result_; // of a command that may still fail
};

} // namespace tool
