// The UART, its output wired back to its input.
#pragma once

#include <optional>

#include "model/command_table.hpp"
#include "model/notifications.hpp"
#include "tarvixsdk/types.h"

namespace sim {

class Uart {
public:
    Uart(CommandTable& table, Notifications& notifications);

private:
    void deinit(Request& request, OutputFrame& response);
    void init(Request& request, OutputFrame& response);
    void setParameters(Request& request, OutputFrame& response);
    void sendMessage(Request& request, OutputFrame& response);

    Notifications& notifications_;
    std::optional<UartDataSize> dataSize_; // the setting that shows in what comes back; none: not initialised
};

} // namespace sim
