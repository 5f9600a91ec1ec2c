#include "async/request_frame.hpp"
#include "async/state.hpp"

StatusCode TarvixAsyncSDK::gpioConfigurePin(TransactionId transactionId, GpioPinNumber pinNumber,
                                            GpioFunctionality functionality, GpioLogicLevel logicLevel)
{
    return state_->send(
        RequestFrame(transactionId, CommandCode::GPIO_CONFIGURE_PIN).u8(pinNumber).u8(functionality).u8(logicLevel));
}

StatusCode TarvixAsyncSDK::gpioDigitalWrite(TransactionId transactionId, GpioPinNumber pinNumber,
                                            GpioLogicLevel logicLevel)
{
    return state_->send(RequestFrame(transactionId, CommandCode::GPIO_DIGITAL_WRITE).u8(pinNumber).u8(logicLevel));
}

StatusCode TarvixAsyncSDK::gpioDigitalRead(TransactionId transactionId, GpioPinNumber pinNumber)
{
    return state_->send(RequestFrame(transactionId, CommandCode::GPIO_DIGITAL_READ).u8(pinNumber));
}

StatusCode TarvixAsyncSDK::gpioConfigureInterrupt(TransactionId transactionId, GpioPinNumber pinNumber,
                                                  GpioTriggerType triggerType)
{
    return state_->send(
        RequestFrame(transactionId, CommandCode::GPIO_CONFIGURE_INTERRUPT).u8(pinNumber).u8(triggerType));
}

StatusCode TarvixAsyncSDK::gpioDisableInterrupt(TransactionId transactionId, GpioPinNumber pinNumber)
{
    return state_->send(RequestFrame(transactionId, CommandCode::GPIO_DISABLE_INTERRUPT).u8(pinNumber));
}
