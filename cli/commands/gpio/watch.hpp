// tarvix gpio watch.
#pragma once

#include "commands/command.hpp"

namespace tool {

void addGpioWatch(Commands& gpio);

} // namespace tool
