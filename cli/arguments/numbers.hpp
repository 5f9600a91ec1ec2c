// Numbers on the command line, as people write them. Every error names the option and the value.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace tool {

// Both ends included.
struct Range {
    std::uint64_t low = 0;
    std::uint64_t high = std::numeric_limits<std::uint64_t>::max();
};

inline constexpr Range BYTE{0, 0xFF};
inline constexpr Range WORD{0, 0xFFFF};
inline constexpr Range ADDRESS{0, 0x7F};               // 7-bit, unshifted
inline constexpr Range PERIOD{0, 24 * 60 * 60 * 1000}; // in milliseconds

// A number and its text on the command line, for errors that are found later.
struct Given {
    std::uint64_t value = 0;
    std::string text = "0";
};

// 0x50, 80 or 0b1010000; a leading zero does not mean octal. Throws UsageError naming `what` and `text`.
std::uint64_t parseNumber(std::string_view what, std::string_view text, Range range);

// In bytes: 4096, 0x1000, 4k, 4KiB, 1M. The units are powers of 1024.
std::uint64_t parseSize(std::string_view what, std::string_view text, Range range);

// In hertz: 400000, 400k, 12.5M, 100kHz.
std::uint64_t parseFrequency(std::string_view what, std::string_view text, Range range);

// In milliseconds unless a unit says otherwise: 500, 500ms, 2s, 1.5s.
std::chrono::milliseconds parsePeriod(std::string_view what, std::string_view text, Range range = PERIOD);

// In millivolts: 3300, 3300mV, 3.3V.
std::uint16_t parseVoltage(std::string_view what, std::string_view text);

} // namespace tool
