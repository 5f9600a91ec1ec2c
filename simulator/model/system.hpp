// Commands about the adapter itself: restart, boot mode, USB strings.
#pragma once

#include <string>

#include "model/command_table.hpp"
#include "model/presence.hpp"

namespace sim {

struct System {
    std::string serialNumber;
    Presence presence = Presence::ON_BUS;
};

void addSystemCommands(CommandTable& table, System& system);

} // namespace sim
