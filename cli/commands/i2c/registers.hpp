// tarvix i2c get, set and dump: registers and memories.
#pragma once

#include "commands/command.hpp"

namespace tool {

void addRegisterCommands(Commands& i2c);

} // namespace tool
