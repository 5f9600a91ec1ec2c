#include "commands/gpio/pins.hpp"

#include <fmt/format.h>

namespace tool {

void applyBias(Context& context, unsigned pin, const Role& bias)
{
    if (bias) {
        context.check(context.sdk().gpioConfigurePin(GpioPinNumber{pin}, *bias, GpioLogicLevel::LOW),
                      fmt::format("configuring pin {}", pin), PIN_ADVICE);
    }
}

GpioLogicLevel readPin(Context& context, unsigned pin)
{
    GpioLogicLevel level = GpioLogicLevel::LOW;
    context.check(context.sdk().gpioDigitalRead(GpioPinNumber{pin}, level), fmt::format("reading pin {}", pin),
                  PIN_ADVICE);
    return level == GpioLogicLevel::LOW ? level : GpioLogicLevel::HIGH;
}

void drivePin(Context& context, unsigned pin, const Role& type, GpioLogicLevel level)
{
    TarvixSDK& sdk = context.sdk();
    context.check(type ? sdk.gpioConfigurePin(GpioPinNumber{pin}, *type, level)
                       : sdk.gpioDigitalWrite(GpioPinNumber{pin}, level),
                  fmt::format("driving pin {}", pin), PIN_ADVICE);
}

const char* nameOf(GpioLogicLevel level)
{
    return level == GpioLogicLevel::LOW ? "low" : "high";
}

GpioLogicLevel opposite(GpioLogicLevel level)
{
    return level == GpioLogicLevel::LOW ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW;
}

} // namespace tool
