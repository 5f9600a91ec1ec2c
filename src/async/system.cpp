#include "async/request_frame.hpp"
#include "async/state.hpp"

StatusCode TarvixAsyncSDK::resetDevice(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::RESET_DEVICE));
}

StatusCode TarvixAsyncSDK::enterBootMode(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::ENTER_BOOT_MODE));
}

StatusCode TarvixAsyncSDK::getUsbString(TransactionId transactionId, std::uint8_t index)
{
    return state_->send(RequestFrame(transactionId, CommandCode::GET_USB_STRING).u8(index));
}
