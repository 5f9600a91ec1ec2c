// The UART, and who is at its other end.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "devices/uart_peer.hpp"
#include "model/command_table.hpp"
#include "model/notifications.hpp"
#include "tarvixsdk/types.h"

namespace sim {

struct Uart {
    Notifications& notifications;
    UartPeer& peer;
    std::optional<UartDataSize> dataSize{}; // the setting that shows in what comes back; none: not initialised
};

// What the peer sends; nobody hears it before the UART is initialised.
void receive(Uart& uart, std::span<const std::uint8_t> bytes);

void addUartCommands(CommandTable& table, Uart& uart);

} // namespace sim
