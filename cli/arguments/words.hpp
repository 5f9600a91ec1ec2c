// One line of text as words, by the quoting rules that people know from the shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

// Blanks separate; '...' is literal; in "..." and outside a backslash takes the next character as it is; a # that
// begins a word begins a comment. Throws UsageError for a quote without an end.
std::vector<std::string> splitWords(std::string_view line);

} // namespace tool
