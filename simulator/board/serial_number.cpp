#include "board/serial_number.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "common/utf8.hpp"

namespace sim {

namespace {

constexpr std::size_t LONGEST_SERIAL = 56;  // bytes: with a counter appended it still fits the kernel's field
constexpr std::size_t LONGEST_STRING = 126; // so that any fits a descriptor

bool isPrintable(std::string_view text)
{
    while (!text.empty()) {
        const auto character = utf8::first(text);
        if (!character || character->point < 0x20 || character->point == 0x7F) {
            return false;
        }
        text.remove_prefix(character->size);
    }
    return true;
}

std::optional<std::string> wrongText(const std::string& text, std::size_t longest)
{
    if (text.empty() || text.size() > longest || !isPrintable(text)) {
        return fmt::format("'{}' is not a printable UTF-8 text of 1 to {} bytes", text, longest);
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> wrongSerialNumber(const std::string& text)
{
    return wrongText(text, LONGEST_SERIAL);
}

std::optional<std::string> wrongUsbString(const std::string& text)
{
    return wrongText(text, LONGEST_STRING);
}

std::string serialNumberOf(const std::string& text, std::size_t index)
{
    const auto digits = text.find_last_not_of("0123456789") + 1;
    if (digits == text.size()) {
        return index == 0 ? text : text + std::to_string(index + 1);
    }
    std::string number = text.substr(digits);
    for (; index > 0; --index) {
        const auto carried = number.find_last_not_of('9');
        const auto nines = carried == std::string::npos ? 0 : carried + 1;
        std::fill(number.begin() + static_cast<std::ptrdiff_t>(nines), number.end(), '0');
        if (carried == std::string::npos) {
            number.insert(0, 1, '1');
        } else {
            ++number[carried];
        }
    }
    return text.substr(0, digits) + number;
}

} // namespace sim
