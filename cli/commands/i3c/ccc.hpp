// tarvix i3c ccc
#pragma once

#include "commands/command.hpp"

namespace tool {

void addCccCommand(Commands& i3c);

} // namespace tool
