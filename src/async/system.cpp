#include "async/request_frame.hpp"
#include "tarvixsdk/async_sdk.hpp"

StatusCode TarvixAsyncSDK::resetDevice(TransactionId transactionId)
{
    return send(RequestFrame(transactionId, CommandCode::RESET_DEVICE));
}

StatusCode TarvixAsyncSDK::enterBootMode(TransactionId transactionId)
{
    return send(RequestFrame(transactionId, CommandCode::ENTER_BOOT_MODE));
}

StatusCode TarvixAsyncSDK::getUsbString(TransactionId transactionId, std::uint8_t index)
{
    return send(RequestFrame(transactionId, CommandCode::GET_USB_STRING).u8(index));
}
