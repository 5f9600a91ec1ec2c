// `tarvix trace report`.
#pragma once

#include "commands/command.hpp"

namespace trace {

void addReportCommand(tool::Commands& commands);

} // namespace trace
