#include "scenarios.hpp"

#include <mutex>

#include <tarvixsdk/sdk.hpp>

#include "session.hpp"
#include "waiting.hpp"

namespace e2e {

namespace {

class Notifications {
public:
    explicit Notifications(TarvixSDK& sdk)
    {
        sdk.onNotification([this](const Notification& notification) { add(notification); });
    }

    Bytes uart() const { return guarded(uart_); }
    Bytes pins() const { return guarded(pins_); }
    Bytes interrupts() const { return guarded(interrupts_); }

private:
    Bytes guarded(const Bytes& bytes) const
    {
        const std::lock_guard lock(mutex_);
        return bytes;
    }
    void add(const Notification& notification)
    {
        const std::lock_guard lock(mutex_);
        if (const auto* uart = notification.uartRx()) {
            uart_.insert(uart_.end(), uart->data, uart->data + uart->dataLength);
        } else if (const auto* gpio = notification.gpio()) {
            pins_.push_back(gpio->pinNumber);
        } else if (const auto* interrupt = notification.i3cIbi()) {
            interrupts_.push_back(interrupt->targetAddress);
            interrupts_.insert(interrupts_.end(), interrupt->payload, interrupt->payload + interrupt->payloadLength);
        }
    }

    mutable std::mutex mutex_;
    Bytes uart_;       // all bytes received
    Bytes pins_;       // the pins that fired, in order
    Bytes interrupts_; // address and payload of each
};

} // namespace

void notifications(Place place)
{
    constexpr int ROUNDS = 10;
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    const Notifications heard(sdk);
    open(sdk, place.serialNumber());
    succeed(sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                         UartStopBit::ONE),
            "uartInit");
    succeed(sdk.gpioConfigurePin(GpioPinNumber::PIN_2, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW),
            "gpioConfigurePin");
    succeed(sdk.gpioConfigureInterrupt(GpioPinNumber::PIN_3, GpioTriggerType::BOTH_EDGES), "gpioConfigureInterrupt");

    Bytes sent;
    for (unsigned round = 0; round < ROUNDS; ++round) {
        const Bytes message = pattern(100, round); // two segments of the smaller report
        sent.insert(sent.end(), message.begin(), message.end());
        succeed(sdk.uartSendMessage(message), "uartSendMessage");
        succeed(sdk.gpioDigitalWrite(GpioPinNumber::PIN_2, round % 2 == 0 ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW),
                "gpioDigitalWrite");
        require(serialNumberOf(sdk) == place.serialNumber(), "a notification was taken for a response");
    }
    eventually("all notifications arrive",
               [&] { return heard.uart().size() == sent.size() && heard.pins().size() == ROUNDS; });
    requireEqual(heard.uart(), sent, "what the UART received");
    requireEqual(heard.pins(), Bytes(ROUNDS, 3), "the pins that fired");
    sdk.disconnect();
}

void i3c(Place place)
{
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    const Notifications heard(sdk);
    open(sdk, place.serialNumber());
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
    Bytes pid;
    succeed(sdk.i3cCccGETPID(0x08, pid), "i3cCccGETPID");
    requireEqual(pid, {0x7F, 0xFE, 0x56, 0x78, 0x90, 0x02}, "the PID of target 1");

    const Bytes data = pattern(40);
    Bytes read;
    succeed(sdk.i3cSdrWrite(0x0A, {0x00}, data, I3cTransferFlags::NONE), "i3cSdrWrite");
    succeed(sdk.i3cSdrRead(0x0A, {0x00}, static_cast<std::uint16_t>(data.size()), read, I3cTransferFlags::NONE),
            "i3cSdrRead");
    requireEqual(read, data, "the target's registers");
    succeed(sdk.i3cSdrWrite(0x0A, {0x80}, {2}, I3cTransferFlags::NONE), "i3cSdrWrite");
    eventually("an in-band interrupt", [&] { return !heard.interrupts().empty(); });
    requireEqual(heard.interrupts(), {0x0A, data[0], data[1]}, "the in-band interrupt");
    sdk.disconnect();
}

} // namespace e2e
