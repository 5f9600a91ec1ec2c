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

std::size_t partnerOf(std::size_t pin)
{
    return pin ^ 1;
}

bool drives(const Gpio::Pin& pin, GpioLogicLevel level)
{
    const bool pushPull = pin.functionality == GpioFunctionality::OUTPUT;
    const bool sinks = pin.functionality == GpioFunctionality::OPEN_DRAIN && level == GpioLogicLevel::LOW;
    return (pushPull || sinks) && pin.output == level;
}

bool pulls(const Gpio::Pin& pin, GpioLogicLevel level)
{
    return pin.functionality ==
           (level == GpioLogicLevel::HIGH ? GpioFunctionality::INPUT_PULL_UP : GpioFunctionality::INPUT_PULL_DOWN);
}

bool firesOn(const Gpio::Pin& pin, GpioLogicLevel newLevel)
{
    const auto edge = newLevel == GpioLogicLevel::HIGH ? GpioTriggerType::RISING_EDGE : GpioTriggerType::FALLING_EDGE;
    return pin.trigger == edge || pin.trigger == GpioTriggerType::BOTH_EDGES;
}

// The level of the wire between a pin and its partner: who drives wins over who pulls, low wins over high, and a wire
// that nobody holds is low.
GpioLogicLevel levelOf(const Gpio& gpio, std::size_t pin)
{
    const Gpio::Pin& one = gpio.pins[pin];
    const Gpio::Pin& other = gpio.pins[partnerOf(pin)];
    const auto driven = [&](GpioLogicLevel level) { return drives(one, level) || drives(other, level); };
    const auto pulled = [&](GpioLogicLevel level) { return pulls(one, level) || pulls(other, level); };

    const bool low = driven(GpioLogicLevel::LOW) || (!driven(GpioLogicLevel::HIGH) && pulled(GpioLogicLevel::LOW));
    const bool high = driven(GpioLogicLevel::HIGH) || pulled(GpioLogicLevel::HIGH);
    return high && !low ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW;
}

// Makes a change to a pin and reports what it does to the armed pins on its wire.
template <class Change>
void changePair(Gpio& gpio, std::size_t pin, Change change)
{
    const GpioLogicLevel before = levelOf(gpio, pin);
    change(gpio.pins[pin]);
    const GpioLogicLevel after = levelOf(gpio, pin);
    if (after == before) {
        return;
    }
    for (const std::size_t end : {pin, partnerOf(pin)}) {
        if (firesOn(gpio.pins[end], after)) {
            OutputFrame frame = Notifications::frame(NotificationCode::GPIO_INTERRUPT, FIRED_PIN_END);
            frame.setU8(FIRED_PIN, static_cast<std::uint8_t>(end));
            gpio.notifications.add(frame);
        }
    }
}

void configurePin(Gpio& gpio, Request& request, OutputFrame&)
{
    const auto fields = request.bytes(3);
    request.end();
    const std::size_t pin = asPin(fields[0]);
    const auto functionality = upTo<GpioFunctionality::OPEN_DRAIN>(fields[1]);
    const auto level = upTo<GpioLogicLevel::HIGH>(fields[2]);
    changePair(gpio, pin, [&](Gpio::Pin& changed) {
        changed.functionality = functionality;
        changed.output = level;
    });
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
    changePair(gpio, pin, [&](Gpio::Pin& changed) { changed.output = level; });
}

void digitalRead(Gpio& gpio, Request& request, OutputFrame& response)
{
    const std::uint8_t number = request.u8();
    request.end();
    response.setU8(LEVEL, static_cast<std::uint8_t>(levelOf(gpio, asPin(number))));
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

void addGpioCommands(CommandTable& table, Gpio& gpio)
{
    table.add(CommandCode::GPIO_CONFIGURE_PIN, gpio, configurePin);
    table.add(CommandCode::GPIO_DIGITAL_WRITE, gpio, digitalWrite);
    table.add(CommandCode::GPIO_DIGITAL_READ, gpio, digitalRead, LEVEL_END);
    table.add(CommandCode::GPIO_CONFIGURE_INTERRUPT, gpio, configureInterrupt);
    table.add(CommandCode::GPIO_DISABLE_INTERRUPT, gpio, disableInterrupt);
}

} // namespace sim
