#include "model/uart.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/probe.hpp"
#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::size_t RECEIVED_COUNT = 6;
constexpr std::size_t RECEIVED_DATA = 8;
constexpr std::size_t LONGEST_MESSAGE = 0xFFFF; // its length must fit the field

Uart::Settings readSettings(Request& request)
{
    const auto fields = request.bytes(5);
    request.end();
    upTo<UartHwHandshake::ENABLED>(fields[1]);
    return {
        .baudRate = upTo<UartBaudRate::BAUD_921600>(fields[0]),
        .parity = upTo<UartParity::EVEN>(fields[2]),
        .dataSize = upTo<UartDataSize::BITS_8>(fields[3]),
        .stopBit = upTo<UartStopBit::TWO>(fields[4]),
    };
}

// Bits beyond the data size do not exist on the wire.
std::vector<std::uint8_t> masked(std::span<const std::uint8_t> bytes, UartDataSize dataSize)
{
    const unsigned mask = (1u << (5 + static_cast<unsigned>(dataSize))) - 1;
    std::vector<std::uint8_t> result(bytes.size());
    std::ranges::transform(bytes, result.begin(),
                           [mask](std::uint8_t byte) { return static_cast<std::uint8_t>(byte & mask); });
    return result;
}

void deinit(Uart& uart, Request& request, OutputFrame&)
{
    request.end();
    require(uart.settings.has_value(), DeviceStatus::NOT_INITIALISED);
    uart.settings.reset();
}

void init(Uart& uart, Request& request, OutputFrame&)
{
    uart.settings = readSettings(request);
}

void setParameters(Uart& uart, Request& request, OutputFrame&)
{
    const Uart::Settings settings = readSettings(request);
    require(uart.settings.has_value(), DeviceStatus::NOT_INITIALISED);
    uart.settings = settings;
}

void sendMessage(Uart& uart, Request& request, OutputFrame&)
{
    const std::uint16_t count = request.u16();
    const auto message = request.rest();
    require(message.size() == count, DeviceStatus::MALFORMED_FRAME);
    require(uart.settings.has_value(), DeviceStatus::NOT_INITIALISED);
    if (message.empty()) {
        return;
    }
    const auto sent = masked(message, uart.settings->dataSize);
    if (uart.probe != nullptr) {
        uart.probe->uartSent(*uart.settings, sent);
    }
    uart.sent.add(sent);
    uart.peer.receive(sent);
}

} // namespace

void receive(Uart& uart, std::span<const std::uint8_t> bytes)
{
    if (!uart.settings) {
        return;
    }
    while (!bytes.empty()) {
        const auto message = masked(bytes.first(std::min(bytes.size(), LONGEST_MESSAGE)), uart.settings->dataSize);
        if (uart.probe != nullptr) {
            uart.probe->uartReceived(*uart.settings, message);
        }
        OutputFrame frame = Notifications::frame(NotificationCode::UART_RX, RECEIVED_DATA);
        frame.setU16(RECEIVED_COUNT, static_cast<std::uint16_t>(message.size()));
        frame.append(message);
        uart.notifications.add(frame);
        bytes = bytes.subspan(message.size());
    }
}

void addUartCommands(CommandTable& table, Uart& uart)
{
    table.add(CommandCode::UART_DEINIT, uart, deinit);
    table.add(CommandCode::UART_INIT, uart, init);
    table.add(CommandCode::UART_SET_PARAMETERS, uart, setParameters);
    table.add(CommandCode::UART_SEND_MESSAGE, uart, sendMessage);
}

} // namespace sim
