// Drives pin 0 and waits for the interrupt of pin 1: wire them together (on the virtual adapter they are).
#include <chrono>
#include <future>

#include "bench.hpp"

int main(int argc, char** argv)
{
    return run(argc, argv, [](TarvixSDK& adapter) {
        std::promise<unsigned> fired;
        adapter.onNotification([&fired, once = false](const Notification& notification) mutable {
            const GpioInterruptNotification* const interrupt = notification.gpio();
            if (interrupt != nullptr && !once) { // on the reader thread: hand it over and return
                once = true;
                fired.set_value(interrupt->pinNumber);
            }
        });

        constexpr auto DRIVEN = GpioPinNumber::PIN_0;
        constexpr auto WATCHED = GpioPinNumber::PIN_1;
        check(adapter.gpioConfigurePin(DRIVEN, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW), "configuring pin 0");
        check(adapter.gpioConfigurePin(WATCHED, GpioFunctionality::INPUT, GpioLogicLevel::LOW), "configuring pin 1");
        check(adapter.gpioConfigureInterrupt(WATCHED, GpioTriggerType::RISING_EDGE), "arming pin 1");
        check(adapter.gpioDigitalWrite(DRIVEN, GpioLogicLevel::HIGH), "driving pin 0");

        std::future<unsigned> pin = fired.get_future();
        if (pin.wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
            throw std::runtime_error("pin 1 did not follow: are the pins wired together?");
        }
        std::printf("pin %u rose\n", pin.get());
        check(adapter.gpioDisableInterrupt(WATCHED), "disarming pin 1");
        adapter.onNotification(nullptr);
    });
}
