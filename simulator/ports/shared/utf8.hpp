// UTF-8 to wide characters, which hold whole code points on the systems that tarvix-sim is for.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim {

// Nothing when the text is not well-formed: truncated or stray bytes, longer than needed, a surrogate, past U+10FFFF.
inline std::optional<std::wstring> fromUtf8(std::string_view text)
{
    constexpr char32_t LEAST[] = {0, 0x80, 0x800, 0x10000}; // by the number of bytes after the first
    std::wstring wide;
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text.front());
        const std::size_t more = first < 0x80 ? 0 : first >> 5 == 0x06 ? 1 : first >> 4 == 0x0E ? 2 : 3;
        if ((more == 3 && first >> 3 != 0x1E) || text.size() <= more) {
            return std::nullopt;
        }
        char32_t point = more == 0 ? first : first & (0x3Fu >> more);
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
        wide += static_cast<wchar_t>(point);
        text.remove_prefix(more + 1);
    }
    return wide;
}

} // namespace sim
