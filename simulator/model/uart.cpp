#include "model/uart.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::size_t RECEIVED_COUNT = 6;
constexpr std::size_t RECEIVED_DATA = 8;

UartDataSize readSettings(Request& request)
{
    const auto fields = request.bytes(5);
    request.end();
    upTo<UartBaudRate::BAUD_921600>(fields[0]);
    upTo<UartHwHandshake::ENABLED>(fields[1]);
    upTo<UartParity::EVEN>(fields[2]);
    const auto dataSize = upTo<UartDataSize::BITS_8>(fields[3]);
    upTo<UartStopBit::TWO>(fields[4]);
    return dataSize;
}

unsigned bitsOf(UartDataSize dataSize)
{
    return 5 + static_cast<unsigned>(dataSize);
}

void deinit(Uart& uart, Request& request, OutputFrame&)
{
    request.end();
    require(uart.dataSize.has_value(), DeviceStatus::NOT_INITIALISED);
    uart.dataSize.reset();
}

void init(Uart& uart, Request& request, OutputFrame&)
{
    uart.dataSize = readSettings(request);
}

void setParameters(Uart& uart, Request& request, OutputFrame&)
{
    const UartDataSize dataSize = readSettings(request);
    require(uart.dataSize.has_value(), DeviceStatus::NOT_INITIALISED);
    uart.dataSize = dataSize;
}

void sendMessage(Uart& uart, Request& request, OutputFrame&)
{
    const std::uint16_t count = request.u16();
    const auto message = request.rest();
    require(message.size() == count, DeviceStatus::MALFORMED_FRAME);
    require(uart.dataSize.has_value(), DeviceStatus::NOT_INITIALISED);
    if (message.empty()) {
        return;
    }
    const unsigned mask = (1u << bitsOf(*uart.dataSize)) - 1;
    std::vector<std::uint8_t> received(message.size());
    std::ranges::transform(message, received.begin(),
                           [mask](std::uint8_t byte) { return static_cast<std::uint8_t>(byte & mask); });

    OutputFrame frame = Notifications::frame(NotificationCode::UART_RX, RECEIVED_DATA);
    frame.setU16(RECEIVED_COUNT, count);
    frame.append(received);
    uart.notifications.add(frame);
}

} // namespace

void addUartCommands(CommandTable& table, Uart& uart)
{
    table.add(CommandCode::UART_DEINIT, uart, deinit);
    table.add(CommandCode::UART_INIT, uart, init);
    table.add(CommandCode::UART_SET_PARAMETERS, uart, setParameters);
    table.add(CommandCode::UART_SEND_MESSAGE, uart, sendMessage);
}

} // namespace sim
