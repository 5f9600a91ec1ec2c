// UTF-8 to wide characters, which hold whole code points on the systems that tarvix-sim is for.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "common/utf8.hpp"

namespace sim {

// Nothing when the text is not well-formed.
inline std::optional<std::wstring> fromUtf8(std::string_view text)
{
    std::wstring wide;
    while (!text.empty()) {
        const auto character = utf8::first(text);
        if (!character) {
            return std::nullopt;
        }
        wide += static_cast<wchar_t>(character->point);
        text.remove_prefix(character->size);
    }
    return wide;
}

} // namespace sim
