// Drives pin 0 and waits for the interrupt of pin 1: wire them together (on the virtual adapter they are).
#include <chrono>
#include <future>

#include "bench.hpp"

int main(int argc, char** argv)
{
    std::promise<void> rose; // before the adapter, whose reader thread uses it
    return run(argc, argv, [&rose](TarvixSDK& adapter) {
        constexpr auto DRIVEN = GpioPinNumber::PIN_0;
        constexpr auto WATCHED = GpioPinNumber::PIN_1;
        adapter.onNotification([&rose, once = false](const Notification& notification) mutable {
            const GpioInterruptNotification* const interrupt = notification.gpio();
            if (interrupt != nullptr && GpioPinNumber{interrupt->pinNumber} == WATCHED && !once) {
                once = true;
                rose.set_value(); // on the reader thread: hand it over and return
            }
        });

        check(adapter.gpioConfigurePin(DRIVEN, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW), "configuring pin 0");
        check(adapter.gpioConfigurePin(WATCHED, GpioFunctionality::INPUT, GpioLogicLevel::LOW), "configuring pin 1");
        check(adapter.gpioConfigureInterrupt(WATCHED, GpioTriggerType::RISING_EDGE), "arming pin 1");
        check(adapter.gpioDigitalWrite(DRIVEN, GpioLogicLevel::HIGH), "driving pin 0");

        if (rose.get_future().wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
            throw std::runtime_error("pin 1 did not follow: are the pins wired together?");
        }
        std::puts("pin 1 rose");
        check(adapter.gpioDisableInterrupt(WATCHED), "disarming pin 1");
    });
}
