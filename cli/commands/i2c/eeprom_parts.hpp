// EEPROMs by name, size and page.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "commands/memory/memory.hpp"

namespace tool {

// Of any EEPROM, in bytes.
inline constexpr std::uint64_t SMALLEST_PAGE = 8;

// Its geometry, and how many of the address bits the register address carries. Those above are the low bits of the
// target address.
struct EepromPart {
    Geometry geometry;
    unsigned registerBytes = 1;
};

// What the options say: a part by its name, or its properties.
struct EepromPartOptions {
    std::string part{};
    std::optional<std::uint64_t> size{};
    std::optional<std::uint64_t> page{};
    std::optional<unsigned> registerBytes{};
};

// Throws UsageError for what is no EEPROM.
EepromPart eepromPart(const EepromPartOptions& options);

// The names, for help.
std::string eepromPartNames();

// Where a byte of the memory is.
struct EepromPlace {
    std::uint8_t address; // of the target
    std::uint64_t reg;

    bool operator==(const EepromPlace&) const = default;
};

EepromPlace placeOf(const EepromPart& part, std::uint8_t address, std::uint64_t offset);

// A part of several blocks has several target addresses; `address` must be the first. Throws UsageError.
void requireFirstAddress(const EepromPart& part, std::uint8_t address);

} // namespace tool
