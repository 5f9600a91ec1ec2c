#include "async/request_frame.hpp"
#include "tarvixsdk/async_sdk.hpp"

StatusCode TarvixAsyncSDK::getAnalogMeasurements(TransactionId transactionId)
{
    return send(RequestFrame(transactionId, CommandCode::GET_ANALOG_MEASUREMENTS));
}

// I2C, SPI, UART and GPIO hang on one rail. Its four names are one operation on purpose: they must never address
// separate rails.
StatusCode TarvixAsyncSDK::setI2cSpiUartGpioVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return send(RequestFrame(transactionId, CommandCode::SET_SHARED_VOLTAGE).u16(voltage).flag(flag));
}

StatusCode TarvixAsyncSDK::useExternalI2cSpiUartGpioVoltage(TransactionId transactionId, bool useExternal)
{
    return send(RequestFrame(transactionId, CommandCode::USE_EXTERNAL_SHARED_VOLTAGE).flag(useExternal));
}

StatusCode TarvixAsyncSDK::gpioSetVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
}

StatusCode TarvixAsyncSDK::i2cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
}

StatusCode TarvixAsyncSDK::spiSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
}

StatusCode TarvixAsyncSDK::uartSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
}

StatusCode TarvixAsyncSDK::gpioUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
}

StatusCode TarvixAsyncSDK::i2cUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
}

StatusCode TarvixAsyncSDK::spiUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
}

StatusCode TarvixAsyncSDK::uartUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
}

StatusCode TarvixAsyncSDK::i3cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage)
{
    return send(RequestFrame(transactionId, CommandCode::SET_I3C_VOLTAGE).u16(voltage));
}

StatusCode TarvixAsyncSDK::i3cUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return send(RequestFrame(transactionId, CommandCode::USE_EXTERNAL_I3C_VOLTAGE).flag(useExternal));
}
