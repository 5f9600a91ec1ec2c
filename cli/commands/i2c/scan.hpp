// tarvix i2c scan
#pragma once

#include "commands/command.hpp"

namespace tool {

void addScanCommand(Commands& i2c);

} // namespace tool
