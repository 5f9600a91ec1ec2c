// The commands below `tarvix i2c eeprom`.
#pragma once

#include "commands/command.hpp"

namespace tool {

void addEepromCommands(Commands& i2c);

} // namespace tool
