#include "arguments/pattern.hpp"

#include <algorithm>
#include <memory>
#include <regex>
#include <utility>

#include <fmt/format.h>

#include "arguments/data.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

using Found = std::optional<std::string>;

// Matched without backtracking, and from all places of the text in one pass: a device could otherwise choose bytes that
// take forever, or all of the stack.
std::regex compile(std::string_view what, const std::string& pattern)
{
    constexpr auto SYNTAX = std::regex::ECMAScript | std::regex_constants::__polynomial;
    try {
        const std::regex alone(pattern, SYNTAX); // its brackets are its own
        return std::regex(fmt::format(R"([\s\S]*?({}))", pattern), SYNTAX);
    } catch (const std::regex_error& error) {
        throw UsageError(fmt::format("{}: '/{}/' is not a regex that can be used: {}", what, pattern, error.what()));
    }
}

Found findRegex(const std::regex& regex, std::string_view text, bool fromStart)
{
    std::cmatch match;
    auto flags = std::regex_constants::match_continuous;
    if (!fromStart) {
        flags |= std::regex_constants::match_not_bol;
    }
    return std::regex_search(text.data(), text.data() + text.size(), match, regex, flags) ? Found(match.str(1))
                                                                                          : std::nullopt;
}

} // namespace

Search::Search(std::string_view what, const std::string& pattern)
{
    if (pattern.size() > 2 && pattern.front() == '/' && pattern.back() == '/') {
        find_ = [regex = compile(what, pattern.substr(1, pattern.size() - 2))](std::string_view text, bool fromStart) {
            return findRegex(regex, text, fromStart);
        };
        return;
    }
    const Bytes bytes = parseText(what, pattern);
    if (bytes.empty() || bytes.size() > LONGEST_MATCH) {
        throw UsageError(
            fmt::format("{}: a text of {} bytes cannot be looked for, 1 to {} can", what, bytes.size(), LONGEST_MATCH));
    }
    find_ = [wanted = std::string(bytes.begin(), bytes.end())](std::string_view text, bool) {
        return text.find(wanted) == std::string_view::npos ? std::nullopt : Found(wanted);
    };
}

bool Search::add(std::span<const std::uint8_t> bytes)
{
    while (!match_ && !bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), LONGEST_MATCH));
        bytes = bytes.subspan(piece.size());
        recent_.append(piece.begin(), piece.end());
        match_ = find_(recent_, fromStart_);
        if (recent_.size() > LONGEST_MATCH) {
            recent_.erase(0, recent_.size() - LONGEST_MATCH);
            fromStart_ = false;
        }
    }
    return match_.has_value();
}

} // namespace tool
