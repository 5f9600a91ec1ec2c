#include <algorithm>
#include <string>
#include <vector>

#include "scenario.hpp"
#include "support/received.hpp"

namespace e2e {

namespace {

struct Notifications {
    Received<std::uint8_t> uart; // all bytes received
    Received<std::uint8_t> pins; // those that fired, in order

    void add(const Notification& notification)
    {
        if (const auto* received = notification.uartRx()) {
            std::for_each_n(received->data, received->dataLength, [this](std::uint8_t byte) { uart.add(byte); });
        } else if (const auto* gpio = notification.gpio()) {
            pins.add(gpio->pinNumber);
        }
    }
};

const Scenario NOTIFICATIONS("notifications", [](Place place) {
    constexpr int ROUNDS = 10;
    Notifications heard;
    Bench bench(place);
    TarvixSDK& sdk = bench.sdk;
    sdk.onNotification([&heard](const Notification& notification) { heard.add(notification); });
    succeed(sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                         UartStopBit::ONE),
            "uartInit");
    succeed(sdk.gpioConfigurePin(GpioPinNumber::PIN_2, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW),
            "gpioConfigurePin");
    succeed(sdk.gpioConfigureInterrupt(GpioPinNumber::PIN_3, GpioTriggerType::BOTH_EDGES), "gpioConfigureInterrupt");

    Bytes sent;
    for (unsigned round = 0; round < ROUNDS; ++round) {
        const Bytes message = pattern(100, round); // two segments of the smaller report
        sent = sent + message;
        succeed(sdk.uartSendMessage(message), "uartSendMessage");
        succeed(sdk.gpioDigitalWrite(GpioPinNumber::PIN_2, round % 2 == 0 ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW),
                "gpioDigitalWrite");
        require(serialNumberOf(sdk) == place.serialNumber(), "a notification was taken for a response");
    }
    requireEqual(heard.uart.atLeast(sent.size()), sent, "what the UART received");
    requireEqual(heard.pins.atLeast(ROUNDS), Bytes(ROUNDS, 3), "the pins that fired");
});

const Scenario I3C("i3c", [](Place place) {
    const VirtualCable cable(place);
    const Outcome init = run({"tarvix", "i3c", "init", "0x30=0x0a"});
    require(init.exitStatus == 0 && init.output.find("\n0x0a     0x30") != std::string::npos &&
                init.output.find("\n0x08     0x31") != std::string::npos,
            "tarvix i3c init: " + init.output);
});

} // namespace

} // namespace e2e
