// Reads a JSON document place by place; what is wrong is named with its place.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace sim {

using Json = nlohmann::ordered_json;

// One line for the user: file, place, what was found, what is allowed.
class BoardError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Node {
public:
    // The document outlives its nodes. Files that it names are sought beside `file`.
    Node(const std::filesystem::path& file, const Json& value, std::string place = {})
        : file_(&file), value_(&value), place_(std::move(place))
    {
    }

    [[noreturn]] void fail(std::string_view what) const;

    bool isObject() const;
    bool isText() const;
    const Json& json() const { return *value_; }
    const std::string& place() const { return place_; }
    const std::filesystem::path& file() const { return *file_; }

    // Each refuses what is something else, or out of its range.
    bool flag() const;
    std::string text() const;
    std::uint64_t number(std::uint64_t low, std::uint64_t high) const; // or a text such as "0x48"
    double fraction(double low, double high) const;
    std::chrono::nanoseconds milliseconds(double most, double least = 0) const; // may have a fraction
    std::size_t choice(const std::vector<std::string>& names) const;
    std::vector<Node> items(std::size_t least, std::size_t most) const; // of an array
    std::vector<std::pair<std::string, Node>> members() const;          // of an object, in its order

    // At most `most` bytes: an array of numbers, "hex:01 02", "text:OK\r\n", or "file:NAME".
    std::vector<std::uint8_t> bytes(std::size_t most) const;

private:
    const std::filesystem::path* file_;
    const Json* value_;
    std::string place_; // as a JSON pointer
};

// An object whose keys are all known: those that were asked for.
class Object {
public:
    explicit Object(const Node& node);

    std::optional<Node> find(const std::string& key);
    Node get(const std::string& key); // which must be there
    const Node& node() const { return node_; }

    // Refuses a key that nobody asked for, and names the most similar one that was.
    void end() const;

private:
    Node node_;
    std::vector<std::string> asked_;
};

// Parses; throws BoardError with line and column.
Json parseDocument(const std::filesystem::path& file, std::string_view text);

// The one of `known` that `text` was meant to be; empty when none is similar.
std::string nearest(std::string_view text, const std::vector<std::string>& known);

} // namespace sim
