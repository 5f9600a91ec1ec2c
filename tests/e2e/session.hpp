// What scenarios share about sessions and bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <tarvixsdk/sdk.hpp>

namespace e2e {

using Bytes = std::vector<std::uint8_t>;

inline constexpr int TIMEOUT_MS = 20'000; // of commands that must succeed

// The virtual adapter's larger EEPROM.
inline constexpr std::uint8_t EEPROM_BUS = 1;
inline constexpr std::uint8_t EEPROM = 0x51;
inline constexpr std::size_t EEPROM_SIZE = 32 * 1024;
inline constexpr std::size_t EEPROM_PAGE = 64;
Bytes eepromAddress(std::size_t address);

std::string hex(StatusCode status);
void succeed(StatusCode status, const std::string& command);

// The same bytes on every run, unlike any shifted or swapped copy of themselves.
Bytes pattern(std::size_t size, unsigned seed = 1);

void requireEqual(const Bytes& actual, const Bytes& expected, const std::string& what);

void open(TarvixSDK& sdk, const std::string& serialNumber);

void openStrict(TarvixSDK& sdk, const std::string& serialNumber);

// Tells which adapter a session has.
std::string serialNumberOf(TarvixSDK& sdk);

} // namespace e2e
