// The hand on the bench: acts on adapters and on what is around them as docs/bench-control.md says.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ports/shared/adapter_host.hpp"

namespace sim {

// A request and its answer, both JSON objects. Throws std::runtime_error with one line for the user, and has then
// changed nothing.
std::string control(const std::vector<AdapterHost*>& adapters, std::string_view request);

} // namespace sim
