// tarvix uart terminal.
#pragma once

#include "commands/command.hpp"

namespace tool {

void addUartTerminal(Commands& uart);

} // namespace tool
