// A scenario of the machine test, and what scenarios share about sessions and bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <tarvixsdk/sdk.hpp>

#include "support/bytes.hpp"
#include "virtual_cable.hpp"

namespace e2e {

// What the machine test checks, by name; docs/machine-test.md says what each is about. A file defines its scenarios as
// constants, and that makes them known.
struct Scenario {
    const char* name;
    void (*play)(Place place); // throws Failed

    Scenario(const char* itsName, void (*itsPlay)(Place));
    static std::vector<Scenario>& all();
};

inline constexpr int TIMEOUT_MS = 20'000; // of commands that must succeed

// Options of an adapter that answers after the scenario is over.
inline const std::vector<std::string> SLOW{"--latency", "60000", "--verbose"};

// An adapter and a plain session with it.
struct Bench {
    explicit Bench(Place place, int timeoutMs = TIMEOUT_MS, const std::vector<std::string>& options = {});

    VirtualCable cable;
    TarvixSDK sdk;
};

void openStrict(TarvixSDK& sdk, const Place& place);

// Asks the adapter: tells which one a session has, and that it can use it.
std::string serialNumberOf(TarvixSDK& sdk);

std::string hex(StatusCode status);
void succeed(StatusCode status, const std::string& command);

// The virtual adapter's larger EEPROM.
inline constexpr std::uint8_t EEPROM_BUS = 1;
inline constexpr std::uint8_t EEPROM = 0x51;
inline constexpr std::size_t EEPROM_SIZE = 32 * 1024;
inline constexpr std::size_t EEPROM_PAGE = 64;
Bytes eepromAddress(std::size_t address);

// The same bytes on every run, unlike any shifted or swapped copy of themselves.
Bytes pattern(std::size_t size, unsigned seed = 1);

void requireEqual(const Bytes& actual, const Bytes& expected, const std::string& what);

} // namespace e2e
