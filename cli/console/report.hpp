// How a failure is told: one line on standard error, and with --json one object on standard output.
#pragma once

#include <string_view>

#include "console/errors.hpp"
#include "console/output.hpp"

namespace tool {

// `place` is where the command came from, such as "setup.txt:3"; empty for the command line.
void report(Output& output, const Failure& failure, std::string_view place = {});

} // namespace tool
