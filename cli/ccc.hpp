// tarvix i3c ccc, and what the characteristics of I3C targets mean.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "command.hpp"

namespace tool {

// What a Bus Characteristics Register says a target can do, but for its role.
std::vector<std::string> bcrFeatures(std::uint8_t bcr);

void addCccCommand(Commands& i3c);

} // namespace tool
