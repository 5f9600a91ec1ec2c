#include "model/gpio.hpp"

#include <cstddef>
#include <cstdint>

#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::size_t LEVEL = 6;
constexpr std::size_t LEVEL_END = 7;
constexpr std::size_t FIRED_PIN = 6;
constexpr std::size_t FIRED_PIN_END = 7;

std::size_t asPin(std::uint8_t number)
{
    return static_cast<std::size_t>(upTo<GpioPinNumber::PIN_7>(number, DeviceStatus::BAD_PIN));
}

Hold holdOf(const Gpio::Pin& pin)
{
    const bool high = pin.output == GpioLogicLevel::HIGH;
    switch (pin.functionality) {
    case GpioFunctionality::INPUT_PULL_UP:
        return Hold::PULL_HIGH;
    case GpioFunctionality::INPUT_PULL_DOWN:
        return Hold::PULL_LOW;
    case GpioFunctionality::OUTPUT:
        return high ? Hold::DRIVE_HIGH : Hold::DRIVE_LOW;
    case GpioFunctionality::OPEN_DRAIN:
        return high ? Hold::NOTHING : Hold::DRIVE_LOW;
    default:
        return Hold::NOTHING;
    }
}

void configurePin(Gpio& gpio, Request& request, OutputFrame&)
{
    const auto fields = request.bytes(3);
    request.end();
    const std::size_t pin = asPin(fields[0]);
    const auto functionality = upTo<GpioFunctionality::OPEN_DRAIN>(fields[1]);
    const auto level = upTo<GpioLogicLevel::HIGH>(fields[2]);
    gpio.pins[pin].functionality = functionality;
    gpio.pins[pin].output = level;
    gpio.ends[pin].hold(holdOf(gpio.pins[pin]));
}

void digitalWrite(Gpio& gpio, Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    const std::size_t pin = asPin(fields[0]);
    const auto level = upTo<GpioLogicLevel::HIGH>(fields[1]);
    const GpioFunctionality functionality = gpio.pins[pin].functionality;
    require(functionality == GpioFunctionality::OUTPUT || functionality == GpioFunctionality::OPEN_DRAIN,
            DeviceStatus::PIN_IS_INPUT);
    gpio.pins[pin].output = level;
    gpio.ends[pin].hold(holdOf(gpio.pins[pin]));
}

void digitalRead(Gpio& gpio, Request& request, OutputFrame& response)
{
    const std::uint8_t number = request.u8();
    request.end();
    response.setU8(LEVEL, gpio.ends[asPin(number)].isHigh() ? 1 : 0);
}

void configureInterrupt(Gpio& gpio, Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    const std::size_t pin = asPin(fields[0]);
    gpio.pins[pin].trigger = upTo<GpioTriggerType::BOTH_EDGES>(fields[1]);
}

void disableInterrupt(Gpio& gpio, Request& request, OutputFrame&)
{
    const std::uint8_t number = request.u8();
    request.end();
    gpio.pins[asPin(number)].trigger.reset();
}

} // namespace

Gpio::Gpio(Notifications& itsNotifications, const Ends& itsEnds) : notifications(itsNotifications), ends(itsEnds)
{
    for (const WireEnd& end : ends) {
        end.hold(Hold::NOTHING);
    }
}

void changed(Gpio& gpio, std::size_t pin, bool high)
{
    const auto edge = high ? GpioTriggerType::RISING_EDGE : GpioTriggerType::FALLING_EDGE;
    const auto& trigger = gpio.pins[pin].trigger;
    if (trigger == edge || trigger == GpioTriggerType::BOTH_EDGES) {
        OutputFrame frame = Notifications::frame(NotificationCode::GPIO_INTERRUPT, FIRED_PIN_END);
        frame.setU8(FIRED_PIN, static_cast<std::uint8_t>(pin));
        gpio.notifications.add(frame);
    }
}

void addGpioCommands(CommandTable& table, Gpio& gpio)
{
    table.add(CommandCode::GPIO_CONFIGURE_PIN, gpio, configurePin);
    table.add(CommandCode::GPIO_DIGITAL_WRITE, gpio, digitalWrite);
    table.add(CommandCode::GPIO_DIGITAL_READ, gpio, digitalRead, LEVEL_END);
    table.add(CommandCode::GPIO_CONFIGURE_INTERRUPT, gpio, configureInterrupt);
    table.add(CommandCode::GPIO_DISABLE_INTERRUPT, gpio, disableInterrupt);
}

} // namespace sim
