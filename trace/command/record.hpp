// `tarvix trace`.
#pragma once

#include "commands/command.hpp"

namespace trace {

void addTraceCommands(tool::Commands& commands);

} // namespace trace
