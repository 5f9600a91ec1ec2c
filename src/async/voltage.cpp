#include "async/request_frame.hpp"
#include "async/state.hpp"

namespace {

// I2C, SPI, UART and GPIO hang on one rail, so its four names are one operation.
RequestFrame setSharedRail(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return RequestFrame(transactionId, CommandCode::SET_SHARED_VOLTAGE).u16(voltage).flag(flag);
}

RequestFrame useExternalSharedRail(TransactionId transactionId, bool useExternal)
{
    return RequestFrame(transactionId, CommandCode::USE_EXTERNAL_SHARED_VOLTAGE).flag(useExternal);
}

} // namespace

StatusCode TarvixAsyncSDK::getAnalogMeasurements(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::GET_ANALOG_MEASUREMENTS));
}

StatusCode TarvixAsyncSDK::gpioSetVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return state_->send(setSharedRail(transactionId, voltage, flag));
}

StatusCode TarvixAsyncSDK::i2cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return state_->send(setSharedRail(transactionId, voltage, flag));
}

StatusCode TarvixAsyncSDK::spiSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return state_->send(setSharedRail(transactionId, voltage, flag));
}

StatusCode TarvixAsyncSDK::uartSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return state_->send(setSharedRail(transactionId, voltage, flag));
}

StatusCode TarvixAsyncSDK::gpioUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return state_->send(useExternalSharedRail(transactionId, useExternal));
}

StatusCode TarvixAsyncSDK::i2cUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return state_->send(useExternalSharedRail(transactionId, useExternal));
}

StatusCode TarvixAsyncSDK::spiUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return state_->send(useExternalSharedRail(transactionId, useExternal));
}

StatusCode TarvixAsyncSDK::uartUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return state_->send(useExternalSharedRail(transactionId, useExternal));
}

StatusCode TarvixAsyncSDK::i3cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage)
{
    return state_->send(RequestFrame(transactionId, CommandCode::SET_I3C_VOLTAGE).u16(voltage));
}

StatusCode TarvixAsyncSDK::i3cUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return state_->send(RequestFrame(transactionId, CommandCode::USE_EXTERNAL_I3C_VOLTAGE).flag(useExternal));
}
