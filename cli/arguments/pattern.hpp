// What a device is expected to say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// What such arguments accept, for descriptions.
inline constexpr const char* PATTERN_HELP = R"(text with escapes such as \r, or /REGEX/)";

// The longest text, and the longest match that a regex may have; longer ones may be missed.
inline constexpr std::size_t LONGEST_MATCH = 1024; // bytes

// What a regex finds first in `text`, and what each of its groups does; empty for nothing. `fromStart`: nothing was
// before the text, so that ^ may match.
using FindRegex = std::function<std::vector<std::string>(std::string_view text, bool fromStart)>;

// Of ECMAScript, without back-references, so that it is matched without backtracking: a device could otherwise choose
// bytes that take forever, or all of the stack. Throws UsageError naming `what` and the pattern as it was `given`.
FindRegex compileRegex(std::string_view what, std::string_view given, const std::string& pattern);

// Looks for a text (with the escapes of `text:`), or for an ECMAScript regex between slashes, in bytes as they come.
// However long the stream and whatever is in it: a byte costs a bounded time, and memory and stack are bounded, too.
class Search {
public:
    // Throws UsageError naming `what`.
    Search(std::string_view what, const std::string& pattern);

    // The next bytes of the stream. Returns whether the pattern was found in it.
    bool add(std::span<const std::uint8_t> bytes);

    // The bytes that matched, once they were found.
    const std::optional<std::string>& match() const { return match_; }

private:
    FindRegex find_;     // or the same for a text
    std::string recent_; // the end of what came
    bool fromStart_ = true;
    std::optional<std::string> match_;
};

} // namespace tool
