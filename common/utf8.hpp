// UTF-8, character by character.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace utf8 {

struct Character {
    char32_t point;
    std::size_t size; // in bytes
};

// The first of a text that is not empty. Nothing when it is not well-formed: truncated or stray bytes, longer than
// needed, a surrogate, past U+10FFFF.
inline std::optional<Character> first(std::string_view text)
{
    constexpr char32_t LEAST[] = {0, 0x80, 0x800, 0x10000}; // by the number of bytes after the first
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t more = lead < 0x80 ? 0 : lead >> 5 == 0x06 ? 1 : lead >> 4 == 0x0E ? 2 : 3;
    if ((more == 3 && lead >> 3 != 0x1E) || text.size() <= more) {
        return std::nullopt;
    }
    char32_t point = more == 0 ? lead : lead & (0x3Fu >> more);
    for (const char c : text.substr(1, more)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >> 6 != 0x02) {
            return std::nullopt;
        }
        point = point << 6 | (byte & 0x3F);
    }
    if (point < LEAST[more] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
        return std::nullopt;
    }
    return Character{point, more + 1};
}

} // namespace utf8
