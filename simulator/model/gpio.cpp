#include "model/gpio.hpp"

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

} // namespace

Gpio::Gpio(CommandTable& table, Notifications& notifications) : notifications_(notifications)
{
    table.add(CommandCode::GPIO_CONFIGURE_PIN, *this, &Gpio::configurePin);
    table.add(CommandCode::GPIO_DIGITAL_WRITE, *this, &Gpio::digitalWrite);
    table.add(CommandCode::GPIO_DIGITAL_READ, *this, &Gpio::digitalRead, LEVEL_END);
    table.add(CommandCode::GPIO_CONFIGURE_INTERRUPT, *this, &Gpio::configureInterrupt);
    table.add(CommandCode::GPIO_DISABLE_INTERRUPT, *this, &Gpio::disableInterrupt);
}

bool Gpio::Pin::drives(GpioLogicLevel level) const
{
    const bool pushPull = functionality == GpioFunctionality::OUTPUT;
    const bool sinks = functionality == GpioFunctionality::OPEN_DRAIN && level == GpioLogicLevel::LOW;
    return (pushPull || sinks) && output == level;
}

bool Gpio::Pin::pulls(GpioLogicLevel level) const
{
    return functionality ==
           (level == GpioLogicLevel::HIGH ? GpioFunctionality::INPUT_PULL_UP : GpioFunctionality::INPUT_PULL_DOWN);
}

bool Gpio::Pin::firesOn(GpioLogicLevel newLevel) const
{
    const auto edge = newLevel == GpioLogicLevel::HIGH ? GpioTriggerType::RISING_EDGE : GpioTriggerType::FALLING_EDGE;
    return trigger == edge || trigger == GpioTriggerType::BOTH_EDGES;
}

// The level of the wire between a pin and its partner: who drives wins over who pulls, low wins over high, and a wire
// that nobody holds is low.
GpioLogicLevel Gpio::levelOf(std::size_t pin) const
{
    const Pin& one = pins_[pin];
    const Pin& other = pins_[partnerOf(pin)];
    const auto drives = [&](GpioLogicLevel level) { return one.drives(level) || other.drives(level); };
    const auto pulls = [&](GpioLogicLevel level) { return one.pulls(level) || other.pulls(level); };

    const bool low = drives(GpioLogicLevel::LOW) || (!drives(GpioLogicLevel::HIGH) && pulls(GpioLogicLevel::LOW));
    const bool high = drives(GpioLogicLevel::HIGH) || pulls(GpioLogicLevel::HIGH);
    return high && !low ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW;
}

// Makes a change to a pin and reports what it does to the armed pins on its wire.
template <class Change>
void Gpio::changePair(std::size_t pin, Change change)
{
    const GpioLogicLevel before = levelOf(pin);
    change(pins_[pin]);
    const GpioLogicLevel after = levelOf(pin);
    if (after == before) {
        return;
    }
    for (const std::size_t end : {pin, partnerOf(pin)}) {
        if (pins_[end].firesOn(after)) {
            OutputFrame frame = Notifications::frame(NotificationCode::GPIO_INTERRUPT, FIRED_PIN_END);
            frame.setU8(FIRED_PIN, static_cast<std::uint8_t>(end));
            notifications_.add(frame);
        }
    }
}

void Gpio::configurePin(Request& request, OutputFrame&)
{
    const auto fields = request.bytes(3);
    request.end();
    const std::size_t pin = asPin(fields[0]);
    const auto functionality = upTo<GpioFunctionality::OPEN_DRAIN>(fields[1]);
    const auto level = upTo<GpioLogicLevel::HIGH>(fields[2]);
    changePair(pin, [&](Pin& changed) {
        changed.functionality = functionality;
        changed.output = level;
    });
}

void Gpio::digitalWrite(Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    const std::size_t pin = asPin(fields[0]);
    const auto level = upTo<GpioLogicLevel::HIGH>(fields[1]);
    const GpioFunctionality functionality = pins_[pin].functionality;
    require(functionality == GpioFunctionality::OUTPUT || functionality == GpioFunctionality::OPEN_DRAIN,
            DeviceStatus::PIN_IS_INPUT);
    changePair(pin, [&](Pin& changed) { changed.output = level; });
}

void Gpio::digitalRead(Request& request, OutputFrame& response)
{
    const std::uint8_t number = request.u8();
    request.end();
    response.setU8(LEVEL, static_cast<std::uint8_t>(levelOf(asPin(number))));
}

void Gpio::configureInterrupt(Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    const std::size_t pin = asPin(fields[0]);
    pins_[pin].trigger = upTo<GpioTriggerType::BOTH_EDGES>(fields[1]);
}

void Gpio::disableInterrupt(Request& request, OutputFrame&)
{
    const std::uint8_t number = request.u8();
    request.end();
    pins_[asPin(number)].trigger.reset();
}

} // namespace sim
