// The UART, its output wired back to its input.
#pragma once

#include <optional>

#include "model/command_table.hpp"
#include "model/notifications.hpp"
#include "tarvixsdk/types.h"

namespace sim {

struct Uart {
    Notifications& notifications;
    std::optional<UartDataSize> dataSize{}; // the setting that shows in what comes back; none: not initialised
};

void addUartCommands(CommandTable& table, Uart& uart);

} // namespace sim
