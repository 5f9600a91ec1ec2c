// The Common Command Codes of I3C, all behind one command of the adapter.
#pragma once

#include "model/command_table.hpp"
#include "model/i3c_bus.hpp"

namespace sim {

void addCccCommands(CommandTable& table, I3cBus& bus);

} // namespace sim
