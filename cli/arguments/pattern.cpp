#include "arguments/pattern.hpp"

#include <algorithm>
#include <iterator>
#include <regex>
#include <utility>

#include <fmt/format.h>

#include "arguments/data.hpp"
#include "console/errors.hpp"

namespace tool {

FindRegex compileRegex(std::string_view what, std::string_view given, const std::string& pattern)
{
    constexpr auto SYNTAX = std::regex::ECMAScript | std::regex_constants::__polynomial;
    std::regex regex;
    try {
        regex.assign(pattern, SYNTAX); // alone, because its brackets are its own
        // From all places of the text in one pass.
        regex.assign(fmt::format(R"([\s\S]*?({}))", pattern), SYNTAX);
    } catch (const std::regex_error& error) {
        throw UsageError(fmt::format("{}: '{}' is not a regex that can be used: {}", what, given, error.what()),
                         "write one in ECMAScript's syntax without back-references");
    }
    return [regex = std::move(regex)](std::string_view text, bool fromStart) {
        auto flags = std::regex_constants::match_continuous;
        if (!fromStart) {
            flags |= std::regex_constants::match_not_bol;
        }
        std::cmatch match;
        std::vector<std::string> found;
        if (std::regex_search(text.data(), text.data() + text.size(), match, regex, flags)) {
            found.assign(std::next(match.begin()), match.end());
        }
        return found;
    };
}

Search::Search(std::string_view what, const std::string& pattern)
{
    if (pattern.size() > 2 && pattern.front() == '/' && pattern.back() == '/') {
        find_ = compileRegex(what, pattern, pattern.substr(1, pattern.size() - 2));
        return;
    }
    const Bytes bytes = parseText(what, pattern);
    if (bytes.empty() || bytes.size() > LONGEST_MATCH) {
        throw UsageError(
            fmt::format("{}: a text of {} bytes cannot be looked for, 1 to {} can", what, bytes.size(), LONGEST_MATCH));
    }
    find_ = [wanted = std::string(bytes.begin(), bytes.end())](std::string_view text, bool) {
        return std::vector<std::string>(text.find(wanted) == std::string_view::npos ? 0 : 1, wanted);
    };
}

bool Search::add(std::span<const std::uint8_t> bytes)
{
    while (!match_ && !bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), LONGEST_MATCH));
        bytes = bytes.subspan(piece.size());
        recent_.append(piece.begin(), piece.end());
        if (auto found = find_(recent_, fromStart_); !found.empty()) {
            match_ = std::move(found.front());
        }
        if (recent_.size() > LONGEST_MATCH) {
            recent_.erase(0, recent_.size() - LONGEST_MATCH);
            fromStart_ = false;
        }
    }
    return match_.has_value();
}

} // namespace tool
