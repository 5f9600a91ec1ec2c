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
    Received<Bytes> interrupts;  // address and payload of each

    void add(const Notification& notification)
    {
        if (const auto* received = notification.uartRx()) {
            std::for_each_n(received->data, received->dataLength, [this](std::uint8_t byte) { uart.add(byte); });
        } else if (const auto* gpio = notification.gpio()) {
            pins.add(gpio->pinNumber);
        } else if (const auto* interrupt = notification.i3cIbi()) {
            interrupts.add(Bytes{interrupt->targetAddress} +
                           Bytes(interrupt->payload, interrupt->payload + interrupt->payloadLength));
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
    Notifications heard;
    Bench bench(place);
    TarvixSDK& sdk = bench.sdk;
    sdk.onNotification([&heard](const Notification& notification) { heard.add(notification); });
    succeed(sdk.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4, I2cTransferRate::KHZ_400,
                                  I3cDriveStrength::MEDIUM),
            "i3cControllerInit");
    I3cTargetInfo listed{};
    listed.staticAddress = 0x30;
    listed.dynamicAddress = 0x0A;
    succeed(sdk.i3cInitBus({listed}), "i3cInitBus");
    succeed(sdk.i3cCccENTDAA(), "i3cCccENTDAA");
    std::vector<I3cTargetInfo> table;
    succeed(sdk.i3cGetDeviceTable(table), "i3cGetDeviceTable");
    require(table.size() == 2 && table[0].dynamicAddress == 0x08 && table[1].dynamicAddress == 0x0A,
            "the table does not hold two targets at 0x08 and 0x0A");

    const Bytes data = pattern(40);
    Bytes read;
    succeed(sdk.i3cSdrWrite(0x0A, {0x00}, data, I3cTransferFlags::NONE), "i3cSdrWrite");
    succeed(sdk.i3cSdrRead(0x0A, {0x00}, static_cast<std::uint16_t>(data.size()), read, I3cTransferFlags::NONE),
            "i3cSdrRead");
    requireEqual(read, data, "the target's registers");
    succeed(sdk.i3cSdrWrite(0x0A, {0x80}, {2}, I3cTransferFlags::NONE), "i3cSdrWrite");
    const std::vector<Bytes> interrupts = heard.interrupts.atLeast(1);
    require(interrupts.size() == 1, std::to_string(interrupts.size()) + " in-band interrupts arrive");
    requireEqual(interrupts[0], {0x0A, data[0], data[1]}, "the in-band interrupt");
});

} // namespace

} // namespace e2e
