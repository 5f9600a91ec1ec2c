#include "board/document.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <numeric>
#include <set>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

namespace sim {

namespace {

// For messages: what stands there, but not all of a long text.
std::string shown(const Json& value)
{
    constexpr std::size_t MOST = 40;
    std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (text.size() > MOST) {
        text = value.is_object() ? "an object" : value.is_array() ? "an array" : text.substr(0, MOST) + "...";
    }
    return text;
}

// JSON pointers write ~ and / of a key as ~0 and ~1.
std::string escaped(const std::string& key)
{
    std::string result;
    for (const char c : key) {
        result += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return result;
}

std::optional<std::uint64_t> parsedNumber(std::string_view text)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto result = std::from_chars(text.data() + (hex ? 2 : 0), end, number, hex ? 16 : 10);
    return result.ec == std::errc{} && result.ptr == end ? std::optional(number) : std::nullopt;
}

// How many characters to insert, remove or replace to get from one to the other.
std::size_t distance(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, replaced}));
        }
    }
    return row.back();
}

std::optional<std::vector<std::uint8_t>> hexBytes(std::string_view text)
{
    std::vector<std::uint8_t> bytes;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(" \n"), text.size()));
        if (text.empty()) {
            return bytes;
        }
        std::uint8_t byte = 0;
        const char* const end = text.data() + std::min<std::size_t>(2, text.size());
        const auto result = std::from_chars(text.data(), end, byte, 16);
        if (result.ec != std::errc{} || result.ptr != text.data() + 2) {
            return std::nullopt;
        }
        bytes.push_back(byte);
        text.remove_prefix(2);
    }
}

} // namespace

std::string nearest(std::string_view text, const std::vector<std::string>& known)
{
    std::string best;
    std::size_t least = text.size() / 2 + 1;
    for (const std::string& candidate : known) {
        if (const std::size_t changes = distance(text, candidate); changes < least) {
            least = changes;
            best = candidate;
        }
    }
    return best;
}

Json parseDocument(const std::filesystem::path& file, std::string_view text)
{
    constexpr int DEEPEST = 64;              // what walks through a document calls itself at each level
    std::vector<std::set<std::string>> keys; // of the objects around
    const auto check = [&](int depth, Json::parse_event_t event, const Json& value) {
        if (depth > DEEPEST) {
            throw BoardError(fmt::format("{}: nested deeper than {} levels", file.string(), DEEPEST));
        }
        if (event == Json::parse_event_t::object_start) {
            keys.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == Json::parse_event_t::key && !keys.back().insert(value.get<std::string>()).second) {
            throw BoardError(
                fmt::format("{}: an object has the key '{}' twice", file.string(), value.get<std::string>()));
        }
        return true;
    };
    try {
        return Json::parse(text, check);
    } catch (const Json::parse_error& error) {
        const auto before = text.substr(0, std::min(text.size(), error.byte == 0 ? 0 : error.byte - 1));
        const auto line = 1 + std::ranges::count(before, '\n');
        const auto column = before.size() - (before.rfind('\n') + 1) + 1;
        throw BoardError(fmt::format("{}:{}:{}: not JSON: {}", file.string(), line, column,
                                     text.empty() ? "the file is empty" : "unexpected text or end of file here"));
    }
}

void Node::fail(std::string_view what) const
{
    if (file_->empty()) { // part of a message: its keys say where
        throw BoardError(place_.empty() ? std::string(what) : fmt::format("{}: {}", place_.substr(1), what));
    }
    throw BoardError(fmt::format("{}: {}: {}", file_->string(), place_.empty() ? "the document" : place_, what));
}

bool Node::isObject() const
{
    return value_->is_object();
}

bool Node::isText() const
{
    return value_->is_string();
}

bool Node::flag() const
{
    if (!value_->is_boolean()) {
        fail(fmt::format("{} is neither true nor false", shown(*value_)));
    }
    return value_->get<bool>();
}

std::string Node::text() const
{
    if (!value_->is_string()) {
        fail(fmt::format("{} is not a text; write it in quotes", shown(*value_)));
    }
    return value_->get<std::string>();
}

std::uint64_t Node::number(std::uint64_t low, std::uint64_t high) const
{
    std::optional<std::uint64_t> number;
    if (value_->is_number_unsigned()) {
        number = value_->get<std::uint64_t>();
    } else if (value_->is_string()) {
        number = parsedNumber(value_->get_ref<const std::string&>());
    }
    if (!number || *number < low || *number > high) {
        fail(fmt::format("{} is not a whole number from {} to {}, as 72 or \"0x48\"", shown(*value_), low, high));
    }
    return *number;
}

double Node::fraction(double low, double high) const
{
    if (!value_->is_number() || value_->get<double>() < low || value_->get<double>() > high) {
        fail(fmt::format("{} is not a number from {} to {}", shown(*value_), low, high));
    }
    return value_->get<double>();
}

std::chrono::nanoseconds Node::milliseconds(double most, double least) const
{
    return std::chrono::nanoseconds(static_cast<std::int64_t>(fraction(least, most) * 1e6));
}

std::size_t Node::choice(const std::vector<std::string>& names) const
{
    const std::string given = text();
    const auto found = std::ranges::find(names, given);
    if (found == names.end()) {
        const std::string meant = nearest(given, names);
        fail(fmt::format("'{}' is {} {}{}", given, names.size() == 1 ? "not" : "none of", fmt::join(names, ", "),
                         meant.empty() ? "" : fmt::format("; did you mean '{}'?", meant)));
    }
    return static_cast<std::size_t>(found - names.begin());
}

std::vector<Node> Node::items(std::size_t least, std::size_t most) const
{
    if (!value_->is_array()) {
        fail(fmt::format("{} is not an array, [...]", shown(*value_)));
    }
    if (value_->size() < least || value_->size() > most) {
        const std::string right = least == most ? fmt::to_string(most) : fmt::format("{} to {}", least, most);
        fail(fmt::format("{} elements, not {}", value_->size(), right));
    }
    std::vector<Node> items;
    for (std::size_t index = 0; index < value_->size(); ++index) {
        items.emplace_back(*file_, (*value_)[index], fmt::format("{}/{}", place_, index));
    }
    return items;
}

std::vector<std::pair<std::string, Node>> Node::members() const
{
    if (!value_->is_object()) {
        fail(fmt::format("{} is not an object, {{...}}", shown(*value_)));
    }
    std::vector<std::pair<std::string, Node>> members;
    for (const auto& [key, value] : value_->items()) {
        members.emplace_back(key, Node(*file_, value, fmt::format("{}/{}", place_, escaped(key))));
    }
    return members;
}

std::vector<std::uint8_t> Node::bytes(std::size_t most) const
{
    constexpr std::string_view HEX = "hex:";
    constexpr std::string_view TEXT = "text:";
    constexpr std::string_view FILE = "file:";
    std::optional<std::vector<std::uint8_t>> bytes;
    if (value_->is_array()) {
        bytes.emplace();
        for (const Node& item : items(0, most)) {
            bytes->push_back(static_cast<std::uint8_t>(item.number(0, 0xFF)));
        }
    } else if (value_->is_string()) {
        const std::string_view given = value_->get_ref<const std::string&>();
        if (given.starts_with(HEX)) {
            bytes = hexBytes(given.substr(HEX.size()));
        } else if (given.starts_with(TEXT)) {
            bytes.emplace(given.begin() + TEXT.size(), given.end());
        } else if (given.starts_with(FILE)) {
            const auto path = file_->parent_path() / given.substr(FILE.size());
            std::ifstream stream(path, std::ios::binary);
            bytes.emplace(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
            if (!stream) {
                fail(fmt::format("cannot read {}", path.string()));
            }
        }
    }
    if (!bytes) {
        fail(fmt::format("{} are no bytes; write an array of numbers, \"hex:0a 1b\", \"text:...\" or \"file:NAME\"",
                         shown(*value_)));
    }
    if (bytes->size() > most) {
        fail(fmt::format("{} bytes exceed the {} that there is room for", bytes->size(), most));
    }
    return *std::move(bytes);
}

Object::Object(const Node& node) : node_(node)
{
    static_cast<void>(node_.members()); // refuses all else
}

std::optional<Node> Object::find(const std::string& key)
{
    if (std::ranges::find(asked_, key) == asked_.end()) {
        asked_.push_back(key);
    }
    const auto found = node_.json().find(key);
    if (found == node_.json().end()) {
        return std::nullopt;
    }
    return Node(node_.file(), *found, fmt::format("{}/{}", node_.place(), escaped(key)));
}

Node Object::get(const std::string& key)
{
    const auto found = find(key);
    if (!found) {
        for (const auto& [given, value] : node_.members()) {
            if (!nearest(given, {key}).empty() && std::ranges::find(asked_, given) == asked_.end()) {
                node_.fail(fmt::format("unknown key '{}'; did you mean '{}'?", given, key));
            }
        }
        node_.fail(fmt::format("'{}' is missing", key));
    }
    return *found;
}

void Object::end() const
{
    for (const auto& [key, value] : node_.members()) {
        if (std::ranges::find(asked_, key) == asked_.end()) {
            const std::string meant = nearest(key, asked_);
            node_.fail(meant.empty() ? fmt::format("unknown key '{}'; known are {}", key, fmt::join(asked_, ", "))
                                     : fmt::format("unknown key '{}'; did you mean '{}'?", key, meant));
        }
    }
}

} // namespace sim
