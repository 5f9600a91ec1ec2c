#include "arguments/words.hpp"

#include <optional>

#include <fmt/format.h>

#include "console/errors.hpp"

namespace tool {

std::vector<std::string> splitWords(std::string_view line)
{
    std::vector<std::string> words;
    std::optional<std::string> word; // empty between words
    char quote = 0;                  // the one that is open
    const auto append = [&](char c) { word = word.value_or("") + c; };

    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '\\' && quote != '\'') {
            if (++i == line.size()) {
                throw UsageError("backslash at end of line", "lines cannot be continued");
            }
            append(line[i]);
        } else if (quote != 0) {
            c == quote ? void(quote = 0) : append(c);
        } else if (c == '\'' || c == '"') {
            quote = c;
            word = word.value_or("");
        } else if (c == ' ' || c == '\t' || c == '\r') {
            if (word) {
                words.push_back(*std::exchange(word, std::nullopt));
            }
        } else if (c == '#' && !word) {
            break;
        } else {
            append(c);
        }
    }
    if (quote != 0) {
        throw UsageError(fmt::format("unterminated quote: {}", quote));
    }
    if (word) {
        words.push_back(*word);
    }
    return words;
}

} // namespace tool
