// The commands of the family i2c, each in a file of its own.
#pragma once

#include "commands/command.hpp"

namespace tool {

void addScanCommand(Commands& i2c);
void addGetCommand(Commands& i2c);
void addSetCommand(Commands& i2c);
void addDumpCommand(Commands& i2c);

} // namespace tool
