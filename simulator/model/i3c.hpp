// The I3C controller: its settings, the bus, private transfers and bus patterns.
#pragma once

#include "model/command_table.hpp"
#include "model/i3c_bus.hpp"

namespace sim {

struct I3c {
    I3cBus& bus;
    bool initialised = false;
};

void addI3cCommands(CommandTable& table, I3c& i3c);

} // namespace sim
