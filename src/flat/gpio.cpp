#include "flat/call.hpp"
#include "tarvixsdk/flat.h"

StatusCode TarvixSDK_GpioConfigurePin(TarvixSDK_Handle* handle, GpioPinNumber pinNumber,
                                      GpioFunctionality functionality, bool hasLogicLevel, GpioLogicLevel logicLevel)
{
    return call(handle, &TarvixSDK::gpioConfigurePin, pinNumber, functionality,
                hasLogicLevel ? logicLevel : GpioLogicLevel{0});
}

StatusCode TarvixSDK_GpioDigitalWrite(TarvixSDK_Handle* handle, GpioPinNumber pinNumber, GpioLogicLevel logicLevel)
{
    return call(handle, &TarvixSDK::gpioDigitalWrite, pinNumber, logicLevel);
}

StatusCode TarvixSDK_GpioDigitalRead(TarvixSDK_Handle* handle, GpioPinNumber pinNumber, GpioLogicLevel* logicLevel)
{
    return call(handle, true, [&](TarvixSDK& sdk) { return sdk.gpioDigitalRead(pinNumber, *logicLevel); });
}

StatusCode TarvixSDK_GpioConfigureInterrupt(TarvixSDK_Handle* handle, GpioPinNumber pinNumber,
                                            GpioTriggerType triggerType)
{
    return call(handle, &TarvixSDK::gpioConfigureInterrupt, pinNumber, triggerType);
}

StatusCode TarvixSDK_GpioDisableInterrupt(TarvixSDK_Handle* handle, GpioPinNumber pinNumber)
{
    return call(handle, &TarvixSDK::gpioDisableInterrupt, pinNumber);
}
