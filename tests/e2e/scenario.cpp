#include "scenario.hpp"

#include <algorithm>
#include <cstdio>
#include <random>

namespace e2e {

Scenario::Scenario(const char* itsName, void (*itsPlay)(Place)) : name(itsName), play(itsPlay)
{
    all().push_back(*this);
}

std::vector<Scenario>& Scenario::all()
{
    static std::vector<Scenario> scenarios;
    return scenarios;
}

Bench::Bench(Place place, int timeoutMs, const std::vector<std::string>& options)
    : cable(place, options), sdk(timeoutMs)
{
    require(sdk.connectWithSerialNumber(place.serialNumber()), "cannot open " + place.serialNumber());
}

Bytes eepromAddress(std::size_t address)
{
    return {static_cast<std::uint8_t>(address >> 8), static_cast<std::uint8_t>(address)};
}

std::string hex(StatusCode status)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%04x", static_cast<unsigned>(status));
    return text;
}

void succeed(StatusCode status, const std::string& command)
{
    require(status == StatusCode::SUCCESS, command + " returned " + hex(status));
}

Bytes pattern(std::size_t size, unsigned seed)
{
    std::mt19937 generator(seed);
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(generator()); });
    return bytes;
}

void requireEqual(const Bytes& actual, const Bytes& expected, const std::string& what)
{
    const auto [first, second] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    require(first == actual.end() && second == expected.end(),
            what + " differs from byte " + std::to_string(first - actual.begin()) + " of " +
                std::to_string(expected.size()) + ", received " + std::to_string(actual.size()));
}

void openStrict(TarvixSDK& sdk, const Place& place)
{
    const OpenResult result = sdk.open({.serialNumber = place.serialNumber()});
    require(bool(result), result.message);
}

std::string serialNumberOf(TarvixSDK& sdk)
{
    Bytes text;
    succeed(sdk.getUsbString(text, 3), "getUsbString");
    return {text.begin(), text.end()};
}

} // namespace e2e
