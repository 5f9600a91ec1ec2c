// Commands about the adapter itself: restart, boot mode, USB strings.
#pragma once

#include <array>
#include <string>

#include "model/command_table.hpp"
#include "model/presence.hpp"

namespace sim {

struct System {
    std::array<std::string, 5> strings; // USB strings 1 to 5
    Presence presence = Presence::ON_BUS;
};

void addSystemCommands(CommandTable& table, System& system);

} // namespace sim
