#include "commands/batch/variables.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "arguments/pattern.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

constexpr std::string_view REFERENCE = "${";
constexpr std::string_view MATCH = "match:";
constexpr std::string_view JSON = "json:";
constexpr std::string_view TEXT = "text:";

bool isName(std::string_view text)
{
    const auto isWordCharacter = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), isWordCharacter);
}

Json::json_pointer pointerOf(const std::string& text)
{
    try {
        return Json::json_pointer(text);
    } catch (const Json::parse_error&) {
        throw UsageError(fmt::format("json:{}: not a JSON pointer", text), "write one such as json:/pins/0/level");
    }
}

std::string atPointer(const std::string& pointer, const Printed& printed)
{
    const Json empty = Json::object();
    const Json& fields = printed.fields ? *printed.fields : empty;
    const Json::json_pointer place = pointerOf(pointer);
    try {
        const Json& value = fields.at(place);
        return value.is_string() ? value.get<std::string>() : value.dump();
    } catch (const Json::exception&) {
        throw Failure(ExitStatus::REFUSED, fmt::format("json:{}: no such value in {}", pointer, fields.dump()),
                      "see the fields with --json");
    }
}

// For messages: not all of a long text.
std::string shortened(const std::string& text)
{
    constexpr std::size_t LONGEST = 200;
    const std::string start = text.substr(0, text.find_last_not_of('\n') + 1);
    return start.size() > LONGEST ? start.substr(0, LONGEST) + "..." : start;
}

} // namespace

std::string findInLines(std::string_view what, const std::string& pattern, const std::string& text)
{
    constexpr std::size_t LONGEST_LINE = 8192; // bounds the time
    const FindRegex find = compileRegex(what, pattern, pattern);
    std::string_view rest = text;
    do {
        const auto found = find(rest.substr(0, std::min(rest.find('\n'), LONGEST_LINE)), true);
        if (!found.empty()) {
            return found[found.size() > 1 ? 1 : 0];
        }
        rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
    } while (!rest.empty());
    throw Failure(ExitStatus::REFUSED, fmt::format("{}: '{}' is not in '{}'", what, pattern, shortened(text)));
}

std::string Variables::set(std::string_view assignment, const Printed* printed)
{
    const std::size_t sign = std::min(assignment.find('='), assignment.size());
    std::string name(assignment.substr(0, sign));
    if (sign == assignment.size() || !isName(name)) {
        throw UsageError(fmt::format("NAME=VALUE: '{}' names no variable", assignment),
                         "write LEVEL=1, LEVEL=match:REGEX or LEVEL=json:/POINTER; names have letters, digits and _");
    }
    const std::string_view value = assignment.substr(sign + 1);
    try {
        values_[name] = evaluate(value, printed);
    } catch (const Failure&) {
        if (printed == nullptr) {
            values_[name] = std::nullopt;
        }
        throw;
    }
    return name;
}

std::string Variables::evaluate(std::string_view value, const Printed* printed) const
{
    const auto behind = [&](std::string_view prefix) { return expand(value.substr(prefix.size())); };
    if (!value.starts_with(MATCH) && !value.starts_with(JSON)) {
        return behind(value.starts_with(TEXT) ? TEXT : "");
    }
    const bool matches = value.starts_with(MATCH);
    const std::string wanted = behind(matches ? MATCH : JSON);
    if (printed != nullptr) {
        return matches ? findInLines("match", wanted, printed->text) : atPointer(wanted, *printed);
    }
    matches ? void(compileRegex("match", wanted, wanted)) : void(pointerOf(wanted));
    throw Failure(ExitStatus::NO_ANSWER, "there is no answer");
}

std::string Variables::expand(std::string_view word) const
{
    std::string text;
    for (std::size_t at = 0; (at = word.find(REFERENCE)) != std::string_view::npos;) {
        text += word.substr(0, at);
        word.remove_prefix(at + REFERENCE.size());
        if (text.ends_with('$')) {
            text += '{';
            continue;
        }
        const std::string_view name = word.substr(0, word.find('}'));
        const auto value = values_.find(std::string(name));
        if (value == values_.end()) {
            throw UsageError(
                fmt::format("${{{}}} is not set", name),
                fmt::format("write 'set {}=...' before it, or $${{ for ${{", isName(name) ? name : "NAME"));
        }
        if (!value->second) {
            throw Failure(ExitStatus::NO_ANSWER, fmt::format("${{{}}} depends on an answer", name));
        }
        text += *value->second;
        word.remove_prefix(name.size() + 1);
    }
    return text.append(word);
}

} // namespace tool
