// `tarvix-sim replay`: adapters that answer as recorded, for one command.
#pragma once

#include <string>
#include <vector>

#include "replay/options.hpp"

namespace sim {

// The status is the command's, or STATUS_DIFFERENT. Throws a std::runtime_error with one line for the user when it
// cannot start.
int replayPort(const ReplayOptions& options, const std::vector<std::string>& command);

// The requests were not those of the recording.
inline constexpr int STATUS_DIFFERENT = 125;

} // namespace sim
