// The line of the UART: its settings, and bytes that go out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "adapter/context.hpp"
#include "adapter/notifications.hpp"
#include "arguments/options.hpp"

namespace tool {

struct Baud {
    UartBaudRate number;
    unsigned rate; // bits per second

    bool operator==(const Baud& other) const { return number == other.number; }
};

struct LineOptions {
    Baud baud{UartBaudRate::BAUD_115200, 115200};
    UartParity parity = UartParity::NONE;
    UartDataSize bits = UartDataSize::BITS_8;
    UartStopBit stop = UartStopBit::ONE;
    UartHwHandshake handshake = UartHwHandshake::DISABLED;

    bool operator==(const LineOptions&) const = default;
};

std::string describe(const LineOptions& line); // "9600 baud, 8N1"

void addLineOptions(CLI::App& app, LineOptions& options);

void setUpLine(Context& context, const LineOptions& options);

// As many bytes as take the line about half a second, so that the adapter answers in time.
std::size_t largestPiece(const LineOptions& line);

// In such pieces.
void send(Context& context, const LineOptions& line, std::span<const std::uint8_t> bytes);

bool isReceived(const Event& event);

} // namespace tool
