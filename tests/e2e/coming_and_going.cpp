#include "scenarios.hpp"

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>

#include <sys/resource.h>

#include <tarvixsdk/async_sdk.hpp>
#include <tarvixsdk/sdk.hpp>

#include "session.hpp"
#include "waiting.hpp"

namespace e2e {

namespace {

std::chrono::microseconds processorTime()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto sum = [](const timeval& a, const timeval& b) {
        return std::chrono::seconds(a.tv_sec + b.tv_sec) + std::chrono::microseconds(a.tv_usec + b.tv_usec);
    };
    return sum(usage.ru_utime, usage.ru_stime);
}

// Sends commands as fast as it can to an adapter that comes and goes.
class RestlessSender {
public:
    explicit RestlessSender(std::string serialNumber)
        : serialNumber_(std::move(serialNumber)), thread_([this] { work(); })
    {
    }
    ~RestlessSender()
    {
        ending_ = true;
        thread_.join();
    }
    RestlessSender(const RestlessSender&) = delete;
    RestlessSender& operator=(const RestlessSender&) = delete;

    void reconnect() { reconnecting_ = true; }
    unsigned long sent() const { return sent_; }
    unsigned long received() const { return received_; }

private:
    void work()
    {
        TarvixAsyncSDK sdk;
        sdk.onResponse([this](const Bytes&) { ++received_; });
        while (!ending_) {
            if (reconnecting_.exchange(false)) {
                sdk.disconnect();
            }
            if (!sdk.isConnected() && !sdk.connectWithSerialNumber(serialNumber_)) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20)); // looking for it is not what is tried here
                continue;
            }
            sdk.gpioDigitalRead(1, GpioPinNumber::PIN_0);
            ++sent_;
        }
    }

    const std::string serialNumber_;
    std::atomic<bool> reconnecting_ = false;
    std::atomic<bool> ending_ = false;
    std::atomic<unsigned long> sent_ = 0;
    std::atomic<unsigned long> received_ = 0;
    std::thread thread_;
};

} // namespace

void reset(Place place)
{
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    open(sdk, place.serialNumber());
    succeed(sdk.gpioConfigurePin(GpioPinNumber::PIN_0, GpioFunctionality::INPUT_PULL_UP, GpioLogicLevel::LOW),
            "gpioConfigurePin");
    GpioLogicLevel level{};
    succeed(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), "gpioDigitalRead");
    require(level == GpioLogicLevel::HIGH, "a pulled-up pin is low");

    succeed(sdk.resetDevice(), "resetDevice");
    eventually("the adapter vanishes", [&] { return !nodeOf(place.serialNumber()); });
    sdk.disconnect();
    require(!sdk.connectWithSerialNumber(place.serialNumber()), "an adapter that is not there opens");
    eventually("the adapter returns", [&] { return nodeOf(place.serialNumber()).has_value(); });
    open(sdk, place.serialNumber());
    succeed(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), "gpioDigitalRead");
    require(level == GpioLogicLevel::LOW, "the adapter remembers what was before its reset");
}

void unplug(Place place)
{
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    constexpr int SHORT_TIMEOUT_MS = 2000;
    VirtualCable cable(place, {"--latency", "60000", "--verbose"}); // answers after everything here is over
    TarvixSDK sdk(SHORT_TIMEOUT_MS);
    open(sdk, place.serialNumber());

    const auto begin = Clock::now();
    auto command = std::async(std::launch::async, [&sdk] { return sdk.gpioDisableInterrupt(GpioPinNumber::PIN_0); });
    eventually("the command reaches the adapter", [&] { return cable.log().find(" < ") != std::string::npos; });
    cable.pull();
    require(command.wait_for(0s) == std::future_status::timeout, "the command did not wait for its response");
    const StatusCode status = command.get();
    require(status == StatusCode::NO_RESPONSE, "a command that lost its adapter returned " + hex(status));
    require(Clock::now() - begin < SHORT_TIMEOUT_MS * 1ms + 5s, "a command outlived its timeout by far");

    const auto before = processorTime();
    require(sdk.gpioDisableInterrupt(GpioPinNumber::PIN_0) == StatusCode::NO_RESPONSE,
            "a command without an adapter was answered");
    const auto used = std::chrono::duration_cast<std::chrono::milliseconds>(processorTime() - before);
    require(used < 300ms, "an unplugged adapter costs " + std::to_string(used.count()) + " ms of processor in 2 s");

    const auto closing = Clock::now();
    sdk.disconnect();
    require(Clock::now() - closing < 2s, "closing an unplugged adapter takes its time");
}

void replug(Place place)
{
    constexpr int CYCLES = 25;
    VirtualCable cable(place);
    RestlessSender sender(place.serialNumber());
    for (int cycle = 0; cycle < CYCLES; ++cycle) {
        const unsigned long received = sender.received();
        eventually("responses arrive", [&] { return sender.received() >= received + 3; });
        cable.pull();
        const unsigned long sent = sender.sent();
        eventually("the sender goes on", [&] { return sender.sent() >= sent + 100; });
        sender.reconnect();
        cable.plug();
    }
}

} // namespace e2e
