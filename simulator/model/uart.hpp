// The UART, and who is at its other end.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "bench/byte_log.hpp"
#include "devices/uart_peer.hpp"
#include "model/command_table.hpp"
#include "model/notifications.hpp"
#include "tarvixsdk/types.h"

namespace sim {

class Probe;

struct Uart {
    // All but the data size show in recordings only.
    struct Settings {
        UartBaudRate baudRate;
        UartParity parity;
        UartDataSize dataSize;
        UartStopBit stopBit;
    };

    Notifications& notifications;
    UartPeer& peer;
    ByteLog& sent;
    std::optional<Settings> settings{}; // none: not initialised
    Probe* probe = nullptr;
};

// What the peer sends; nobody hears it before the UART is initialised.
void receive(Uart& uart, std::span<const std::uint8_t> bytes);

void addUartCommands(CommandTable& table, Uart& uart);

} // namespace sim
