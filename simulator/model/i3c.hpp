// The I3C controller: its settings, the bus, private transfers and bus patterns.
#pragma once

#include <vector>

#include "model/command_table.hpp"
#include "model/i3c_bus.hpp"

namespace sim {

class I3c {
public:
    I3c(CommandTable& table, I3cBus& bus);

private:
    struct Transfer;

    void controllerInit(Request& request, OutputFrame& response);
    void setParameters(Request& request, OutputFrame& response);
    void initBus(Request& request, OutputFrame& response);
    void resetBus(Request& request, OutputFrame& response);
    void getDeviceTable(Request& request, OutputFrame& response);
    void setTargetConfiguration(Request& request, OutputFrame& response);
    void privateTransfer(Request& request, OutputFrame& response);
    void busPattern(Request& request, OutputFrame& response);

    void requireUp() const;
    std::vector<BusDevice*> receivers(const Transfer& transfer) const;

    I3cBus& bus_;
    bool initialised_ = false;
};

} // namespace sim
