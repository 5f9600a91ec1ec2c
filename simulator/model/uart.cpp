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

} // namespace

Uart::Uart(CommandTable& table, Notifications& notifications) : notifications_(notifications)
{
    table.add(CommandCode::UART_DEINIT, *this, &Uart::deinit);
    table.add(CommandCode::UART_INIT, *this, &Uart::init);
    table.add(CommandCode::UART_SET_PARAMETERS, *this, &Uart::setParameters);
    table.add(CommandCode::UART_SEND_MESSAGE, *this, &Uart::sendMessage);
}

void Uart::deinit(Request& request, OutputFrame&)
{
    request.end();
    require(dataSize_.has_value(), DeviceStatus::NOT_INITIALISED);
    dataSize_.reset();
}

void Uart::init(Request& request, OutputFrame&)
{
    dataSize_ = readSettings(request);
}

void Uart::setParameters(Request& request, OutputFrame&)
{
    const UartDataSize dataSize = readSettings(request);
    require(dataSize_.has_value(), DeviceStatus::NOT_INITIALISED);
    dataSize_ = dataSize;
}

void Uart::sendMessage(Request& request, OutputFrame&)
{
    const std::uint16_t count = request.u16();
    const auto message = request.rest();
    require(message.size() == count, DeviceStatus::MALFORMED_FRAME);
    require(dataSize_.has_value(), DeviceStatus::NOT_INITIALISED);
    if (message.empty()) {
        return;
    }
    const unsigned mask = (1u << bitsOf(*dataSize_)) - 1;
    std::vector<std::uint8_t> received(message.size());
    std::ranges::transform(message, received.begin(),
                           [mask](std::uint8_t byte) { return static_cast<std::uint8_t>(byte & mask); });

    OutputFrame frame = Notifications::frame(NotificationCode::UART_RX, RECEIVED_DATA);
    frame.setU16(RECEIVED_COUNT, count);
    frame.append(received);
    notifications_.add(frame);
}

} // namespace sim
