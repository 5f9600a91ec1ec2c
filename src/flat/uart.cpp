#include <cstdint>

#include "flat/call.hpp"
#include "tarvixsdk/flat.h"

StatusCode TarvixSDK_UartInit(TarvixSDK_Handle* handle, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                              UartParity parity, UartDataSize dataSize, UartStopBit stopBit)
{
    return call(handle, &TarvixSDK::uartInit, baudRate, hwHandshake, parity, dataSize, stopBit);
}

StatusCode TarvixSDK_UartSetParameters(TarvixSDK_Handle* handle, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                       UartParity parity, UartDataSize dataSize, UartStopBit stopBit)
{
    return call(handle, &TarvixSDK::uartSetParameters, baudRate, hwHandshake, parity, dataSize, stopBit);
}

StatusCode TarvixSDK_UartDeinit(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::uartDeinit);
}

StatusCode TarvixSDK_UartSendMessage(TarvixSDK_Handle* handle, const std::uint8_t* data, std::uint16_t length)
{
    return transfer(handle, true, requests::uartSendMessage, requests::Bytes(data, length));
}
