#include "arguments/numbers.hpp"

#include <charconv>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "console/errors.hpp"

namespace tool {

namespace {

// Digits of `base` and nothing else; empty when they are none, or too many for 64 bits.
std::optional<std::uint64_t> digits(std::string_view text, int base)
{
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

bool startsWith(std::string_view text, char first, char second)
{
    return text.size() > 2 && text[0] == first && (text[1] | 0x20) == second;
}

std::optional<std::uint64_t> number(std::string_view text)
{
    if (startsWith(text, '0', 'x')) {
        return digits(text.substr(2), 16);
    }
    if (startsWith(text, '0', 'b')) {
        return digits(text.substr(2), 2);
    }
    return digits(text, 10);
}

// Limits are written as the number was: who writes 0x90 thinks of 0x7f.
void requireInRange(std::string_view what, std::string_view text, std::uint64_t value, Range range)
{
    const auto limit = [&](std::uint64_t number) {
        return number > 9 && startsWith(text, '0', 'x') ? fmt::format("0x{:x}", number) : fmt::format("{}", number);
    };
    if (value < range.low && range.high == Range{}.high) {
        throw UsageError(fmt::format("{}: {} is out of range, {} or more", what, text, limit(range.low)));
    }
    if (value < range.low || value > range.high) {
        throw UsageError(
            fmt::format("{}: {} is out of range, {} to {}", what, text, limit(range.low), limit(range.high)));
    }
}

using Units = std::vector<std::pair<std::string_view, double>>;

// A decimal number with an optional unit, as a whole number of the smallest unit. Empty for anything else, and for
// what is no whole number of it.
std::optional<std::uint64_t> quantity(std::string_view text, const Units& units)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
    if (error != std::errc{} || !std::isfinite(value) || value < 0) {
        return std::nullopt;
    }
    for (const auto& [name, factor] : units) {
        if (name == unit) {
            const double scaled = value * factor;
            const double rounded = std::round(scaled);
            if (rounded > 1e18 || std::abs(scaled - rounded) > 1e-6) {
                return std::nullopt;
            }
            return static_cast<std::uint64_t>(rounded);
        }
    }
    return std::nullopt;
}

} // namespace

std::uint64_t parseNumber(std::string_view what, std::string_view text, Range range)
{
    const auto value = number(text);
    if (!value) {
        throw UsageError(fmt::format("{}: '{}' is not a number such as 80, 0x50 or 0b1010000", what, text));
    }
    requireInRange(what, text, *value, range);
    return *value;
}

std::uint64_t parseSize(std::string_view what, std::string_view text, Range range)
{
    static const Units units{{"k", 1 << 10}, {"K", 1 << 10}, {"KiB", 1 << 10}, {"M", 1 << 20}, {"MiB", 1 << 20}};
    auto value = number(text);
    if (!value) {
        value = quantity(text, units);
    }
    if (!value) {
        throw UsageError(fmt::format("{}: '{}' is not a size such as 4096, 0x1000, 4k or 1M", what, text));
    }
    requireInRange(what, text, *value, range);
    return *value;
}

std::uint64_t parseFrequency(std::string_view what, std::string_view text, Range range)
{
    static const Units units{{"", 1},      {"Hz", 1},    {"k", 1e3}, {"K", 1e3},
                             {"kHz", 1e3}, {"KHz", 1e3}, {"M", 1e6}, {"MHz", 1e6}};
    const auto value = quantity(text, units);
    if (!value) {
        throw UsageError(fmt::format("{}: '{}' is not a frequency such as 400000, 400k or 1M", what, text));
    }
    requireInRange(what, text, *value, range);
    return *value;
}

std::chrono::milliseconds parsePeriod(std::string_view what, std::string_view text, Range range)
{
    static const Units units{{"", 1}, {"ms", 1}, {"s", 1e3}};
    const auto value = quantity(text, units);
    if (!value) {
        throw UsageError(fmt::format("{}: '{}' is not a period such as 500, 500ms or 2s", what, text));
    }
    requireInRange(what, text, *value, range);
    return std::chrono::milliseconds(*value);
}

std::uint16_t parseVoltage(std::string_view what, std::string_view text)
{
    static const Units units{{"", 1}, {"mV", 1}, {"V", 1e3}, {"mv", 1}, {"v", 1e3}};
    const auto value = quantity(text, units);
    if (!value) {
        throw UsageError(fmt::format("{}: '{}' is not a voltage such as 3300, 3300mV or 3.3V", what, text));
    }
    if (*value > 0xFFFF) {
        throw UsageError(fmt::format("{}: {} is out of range, 0 to 65535mV", what, text));
    }
    return static_cast<std::uint16_t>(*value);
}

} // namespace tool
