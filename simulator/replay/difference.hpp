// How a request that is not the recorded one looks to the user.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "replay/recording.hpp"

namespace sim {

inline constexpr std::size_t ID_SIZE = 2; // of the transaction id, at the beginning of a frame; not compared

// "i2c read bus 0 0x48 reg 00 len 2"
std::string requestText(const Frame& request);

// Each is several lines: what was to come and what came, decoded, and the bytes that differ. The last step expects
// nothing.
std::string differenceAt(const std::vector<Step>& steps, std::size_t index, const Frame& received);
std::string missingFrom(const std::vector<Step>& steps, std::size_t index);

} // namespace sim
