// tarvix bridge.
#pragma once

#include "commands/command.hpp"

namespace bridge {

void addBridgeCommands(tool::Commands& commands);

} // namespace bridge
