#include "console/visible_text.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "common/terminal.hpp"
#include "common/utf8.hpp"

namespace tool {

namespace {

// Whether more bytes could make a character of it.
bool isBegun(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t size = lead >> 5 == 0x06 ? 2 : lead >> 4 == 0x0E ? 3 : lead >> 3 == 0x1E ? 4 : 1;
    return text.size() < size &&
           std::all_of(text.begin() + 1, text.end(), [](char c) { return static_cast<unsigned char>(c) >> 6 == 0x02; });
}

bool isShown(char32_t point)
{
    return std::u32string_view(U"\r\n\t\b\a").find(point) != std::u32string_view::npos || terminal::isHarmless(point);
}

void appendEscaped(std::string& text, std::string_view bytes)
{
    for (const char c : bytes) {
        text += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
    }
}

} // namespace

std::string VisibleText::add(std::span<const std::uint8_t> bytes)
{
    left_.append(bytes.begin(), bytes.end());
    std::string shown;
    std::string_view rest = left_;
    while (!rest.empty()) {
        const auto character = utf8::first(rest);
        if (!character && isBegun(rest)) {
            break;
        }
        const std::string_view piece = rest.substr(0, character ? character->size : 1);
        if (character && isShown(character->point)) {
            shown += piece;
        } else {
            appendEscaped(shown, piece);
        }
        rest.remove_prefix(piece.size());
    }
    left_.erase(0, left_.size() - rest.size());
    return shown;
}

std::string VisibleText::end()
{
    std::string shown;
    appendEscaped(shown, std::exchange(left_, {}));
    return shown;
}

} // namespace tool
