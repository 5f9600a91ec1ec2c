// Numbers on the command line, as people write them. Every error names the option and the value.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace tool {

// Both ends included.
struct Range {
    std::uint64_t low = 0;
    std::uint64_t high = std::numeric_limits<std::uint64_t>::max();
};

inline constexpr Range BYTE{0, 0xFF};
inline constexpr Range WORD{0, 0xFFFF};
inline constexpr Range ADDRESS{0, 0x7F}; // 7-bit, unshifted

// 0x50, 80 or 0b1010000; a leading zero does not mean octal. Throws UsageError naming `what` and `text`.
std::uint64_t parseNumber(std::string_view what, std::string_view text, Range range);

// In hertz: 400000, 400k, 12.5M, 100kHz.
std::uint64_t parseFrequency(std::string_view what, std::string_view text, Range range);

// In milliseconds unless a unit says otherwise: 500, 500ms, 2s, 1.5s.
std::chrono::milliseconds parsePeriod(std::string_view what, std::string_view text);

// In millivolts: 3300, 3300mV, 3.3V.
std::uint16_t parseVoltage(std::string_view what, std::string_view text);

namespace detail {

// The option's name as a user knows it: "-n,--count" is "--count".
std::string displayName(const std::string& names);

template <class T>
struct Plain {
    using type = T;
};
template <class T>
struct Plain<std::optional<T>> {
    using type = T;
};

// An option whose text `parse` turns into `target`, a number or an optional one.
template <class T, class Parse>
CLI::Option* addParsed(CLI::App& app, const std::string& names, T& target, const std::string& description,
                       const char* typeName, Parse parse)
{
    const CLI::callback_t take = [&target, parse, what = displayName(names)](const CLI::results_t& texts) {
        target = static_cast<typename Plain<T>::type>(parse(what, texts.back()));
        return true;
    };
    CLI::Option* option = app.add_option(names, take, description);
    option->type_name(typeName)->expected(1);
    if constexpr (std::is_arithmetic_v<T>) {
        option->default_str(fmt::format("{}", target));
    }
    return option;
}

} // namespace detail

// Options and positional arguments; `target` is an unsigned integer (its value is shown as the default) or an
// optional one. A positional that must be given: `->required()`.
template <class T>
CLI::Option* addNumber(CLI::App& app, const std::string& names, T& target, Range range, const std::string& description)
{
    return detail::addParsed(app, names, target, description, "NUMBER",
                             [range](auto what, auto text) { return parseNumber(what, text, range); });
}

template <class T>
CLI::Option* addFrequency(CLI::App& app, const std::string& names, T& target, Range range,
                          const std::string& description)
{
    return detail::addParsed(app, names, target, description, "HZ",
                             [range](auto what, auto text) { return parseFrequency(what, text, range); });
}

// Several numbers, given as one or more words.
template <class T>
CLI::Option* addNumbers(CLI::App& app, const std::string& names, std::vector<T>& target, Range range,
                        const std::string& description)
{
    const CLI::callback_t take = [&target, range, what = detail::displayName(names)](const CLI::results_t& texts) {
        target.clear();
        for (const std::string& text : texts) {
            target.push_back(static_cast<T>(parseNumber(what, text, range)));
        }
        return true;
    };
    return app.add_option(names, take, description)
        ->type_name("NUMBER")
        ->expected(CLI::detail::expected_max_vector_size);
}

// In milliseconds, zero or more; an absent option leaves `target` empty.
CLI::Option* addPeriod(CLI::App& app, const std::string& names, std::optional<std::chrono::milliseconds>& target,
                       const std::string& description);

} // namespace tool
