#include <cstdint>

#include "flat/call.hpp"
#include "tarvixsdk/flat.h"

StatusCode TarvixSDK_GpioSetVoltage(TarvixSDK_Handle* handle, std::uint16_t voltage, bool flag)
{
    return call(handle, &TarvixSDK::gpioSetVoltage, voltage, flag);
}

StatusCode TarvixSDK_I2cSetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t voltage, bool flag)
{
    return call(handle, &TarvixSDK::i2cSetBusVoltage, voltage, flag);
}

StatusCode TarvixSDK_SpiSetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t voltage, bool flag)
{
    return call(handle, &TarvixSDK::spiSetBusVoltage, voltage, flag);
}

StatusCode TarvixSDK_UartSetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t voltage, bool flag)
{
    return call(handle, &TarvixSDK::uartSetBusVoltage, voltage, flag);
}

StatusCode TarvixSDK_I3cSetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t voltage)
{
    return call(handle, &TarvixSDK::i3cSetBusVoltage, voltage);
}

StatusCode TarvixSDK_GpioUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal)
{
    return call(handle, &TarvixSDK::gpioUseExternalVoltage, useExternal);
}

StatusCode TarvixSDK_I2cUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal)
{
    return call(handle, &TarvixSDK::i2cUseExternalVoltage, useExternal);
}

StatusCode TarvixSDK_SpiUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal)
{
    return call(handle, &TarvixSDK::spiUseExternalVoltage, useExternal);
}

StatusCode TarvixSDK_UartUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal)
{
    return call(handle, &TarvixSDK::uartUseExternalVoltage, useExternal);
}

StatusCode TarvixSDK_I3cUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal)
{
    return call(handle, &TarvixSDK::i3cUseExternalVoltage, useExternal);
}

StatusCode TarvixSDK_GpioGetVoltage(TarvixSDK_Handle* handle, std::uint16_t* voltage)
{
    return call(handle, voltage != nullptr, [&](TarvixSDK& sdk) { return sdk.gpioGetVoltage(*voltage); });
}

StatusCode TarvixSDK_I2cGetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t* voltage)
{
    return call(handle, voltage != nullptr, [&](TarvixSDK& sdk) { return sdk.i2cGetBusVoltage(*voltage); });
}

StatusCode TarvixSDK_SpiGetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t* voltage)
{
    return call(handle, voltage != nullptr, [&](TarvixSDK& sdk) { return sdk.spiGetBusVoltage(*voltage); });
}

StatusCode TarvixSDK_UartGetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t* voltage)
{
    return call(handle, voltage != nullptr, [&](TarvixSDK& sdk) { return sdk.uartGetBusVoltage(*voltage); });
}

StatusCode TarvixSDK_I3cGetBusVoltage(TarvixSDK_Handle* handle, std::uint16_t* voltage1, std::uint16_t* voltage2)
{
    return call(handle, voltage1 != nullptr && voltage2 != nullptr,
                [&](TarvixSDK& sdk) { return sdk.i3cGetBusVoltage(*voltage1, *voltage2); });
}
