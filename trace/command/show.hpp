// `tarvix trace show`.
#pragma once

#include "commands/command.hpp"

namespace trace {

// `commands` are those below `trace`.
void addShowCommand(tool::Commands& commands);

} // namespace trace
