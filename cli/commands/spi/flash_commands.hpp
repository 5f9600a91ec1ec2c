// The commands below `tarvix spi flash`.
#pragma once

#include "commands/command.hpp"

namespace tool {

void addFlashCommands(Commands& spi);

} // namespace tool
