#include "async/requests.hpp"
#include "async/state.hpp"

namespace {

RequestFrame settings(TransactionId transactionId, CommandCode code, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                      UartParity parity, UartDataSize dataSize, UartStopBit stopBit)
{
    return RequestFrame(transactionId, code).u8(baudRate).u8(hwHandshake).u8(parity).u8(dataSize).u8(stopBit);
}

} // namespace

RequestFrame requests::uartSendMessage(TransactionId transactionId, Bytes message)
{
    return RequestFrame(transactionId, CommandCode::UART_SEND_MESSAGE, message.size())
        .u16(count16(message))
        .bytes(message);
}

StatusCode TarvixAsyncSDK::uartInit(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                    UartParity parity, UartDataSize dataSize, UartStopBit stopBit)
{
    return state_->send(
        settings(transactionId, CommandCode::UART_INIT, baudRate, hwHandshake, parity, dataSize, stopBit));
}

StatusCode TarvixAsyncSDK::uartSetParameters(TransactionId transactionId, UartBaudRate baudRate,
                                             UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize,
                                             UartStopBit stopBit)
{
    return state_->send(
        settings(transactionId, CommandCode::UART_SET_PARAMETERS, baudRate, hwHandshake, parity, dataSize, stopBit));
}

StatusCode TarvixAsyncSDK::uartDeinit(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::UART_DEINIT));
}

StatusCode TarvixAsyncSDK::uartSendMessage(TransactionId transactionId, const std::vector<std::uint8_t>& message)
{
    return state_->send(requests::uartSendMessage(transactionId, message));
}
