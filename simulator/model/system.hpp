// Commands about the adapter itself: restart, boot mode, USB strings.
#pragma once

#include <string>

#include "model/command_table.hpp"
#include "model/presence.hpp"

namespace sim {

class System {
public:
    System(CommandTable& table, std::string serialNumber);

    Presence presence() const { return presence_; }

private:
    void reset(Request& request, OutputFrame& response);
    void enterBootMode(Request& request, OutputFrame& response);
    void getUsbString(Request& request, OutputFrame& response);

    std::string serialNumber_;
    Presence presence_ = Presence::ON_BUS;
};

} // namespace sim
