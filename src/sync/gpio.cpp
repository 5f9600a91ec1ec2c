#include "sync/session.hpp"

StatusCode TarvixSDK::gpioConfigurePin(GpioPinNumber pinNumber, GpioFunctionality functionality,
                                       GpioLogicLevel logicLevel)
{
    return session_->exchange(&TarvixAsyncSDK::gpioConfigurePin, pinNumber, functionality, logicLevel).status();
}

StatusCode TarvixSDK::gpioDigitalWrite(GpioPinNumber pinNumber, GpioLogicLevel logicLevel)
{
    return session_->exchange(&TarvixAsyncSDK::gpioDigitalWrite, pinNumber, logicLevel).status();
}

StatusCode TarvixSDK::gpioDigitalRead(GpioPinNumber pinNumber, GpioLogicLevel& logicLevel)
{
    return session_->exchange(&TarvixAsyncSDK::gpioDigitalRead, pinNumber)
        .then(fieldsUpTo(7), [&](const ResponseFrame& response) { logicLevel = GpioLogicLevel{response.u8(6)}; });
}

StatusCode TarvixSDK::gpioConfigureInterrupt(GpioPinNumber pinNumber, GpioTriggerType triggerType)
{
    return session_->exchange(&TarvixAsyncSDK::gpioConfigureInterrupt, pinNumber, triggerType).status();
}

StatusCode TarvixSDK::gpioDisableInterrupt(GpioPinNumber pinNumber)
{
    return session_->exchange(&TarvixAsyncSDK::gpioDisableInterrupt, pinNumber).status();
}
