// Bytes on the command line: numbers, hex digits, text, the content of a file, or standard input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

using Bytes = std::vector<std::uint8_t>;

// What DATA arguments accept, for descriptions.
inline constexpr const char* DATA_HELP = "numbers (18 0x34), hex:DIGITS, text:TEXT, @FILE, or @- for standard input";

// The bytes of all words, in order. At most `limit` bytes, and none only if `mayBeEmpty`. Throws UsageError naming
// `what` and the word. Call it when the command runs, not while arguments are parsed: it may wait for input.
Bytes readData(std::string_view what, const std::vector<std::string>& words, std::size_t limit,
               bool mayBeEmpty = false);

// The bytes of a file, or of standard input for "-": at least one, and at most `limit`. Throws UsageError naming
// `what`.
Bytes readFile(std::string_view what, const std::string& name, std::size_t limit);

// The bytes of a text with C's escapes \r, \n, \t, \e, \0, \\ and \xHH. Throws UsageError naming `what`.
Bytes parseText(std::string_view what, std::string_view text);

// From now on no command takes the name of a file: for commands that somebody else wrote.
void refuseFiles();

// Throws UsageError naming `what` and `word` if they were refused.
void requireFilesAllowed(std::string_view what, std::string_view word);

} // namespace tool
