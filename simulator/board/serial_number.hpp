// Serial numbers and other USB strings that an adapter may have.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace sim {

// What is wrong with it, for the user; nothing when it is good.
std::optional<std::string> wrongSerialNumber(const std::string& text);

// The same for another string.
std::optional<std::string> wrongUsbString(const std::string& text);

// The serial number of one of several adapters: the first has `text` itself; for the others the digits at its end count
// upwards, or their number, from 2, is appended where it ends in none.
std::string serialNumberOf(const std::string& text, std::size_t index);

} // namespace sim
