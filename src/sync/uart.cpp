#include "sync/session.hpp"

StatusCode TarvixSDK::uartInit(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity,
                               UartDataSize dataSize, UartStopBit stopBit)
{
    return session_->exchange(&TarvixAsyncSDK::uartInit, baudRate, hwHandshake, parity, dataSize, stopBit).status();
}

StatusCode TarvixSDK::uartSetParameters(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity,
                                        UartDataSize dataSize, UartStopBit stopBit)
{
    return session_->exchange(&TarvixAsyncSDK::uartSetParameters, baudRate, hwHandshake, parity, dataSize, stopBit)
        .status();
}

StatusCode TarvixSDK::uartDeinit()
{
    return session_->exchange(&TarvixAsyncSDK::uartDeinit).status();
}

StatusCode TarvixSDK::uartSendMessage(const std::vector<std::uint8_t>& message)
{
    return session_->exchange(requests::uartSendMessage, message).status();
}
