#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <tarvixsdk/async_sdk.hpp>

#include "scenario.hpp"

namespace e2e {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::string seconds(Clock::duration time)
{
    return std::to_string(std::chrono::duration<double>(time).count()) + " s";
}

// Pulls a slow adapter while a command waits for its response. Returns what becomes of the command: its status, and
// when it returned.
std::future<std::pair<StatusCode, Clock::time_point>> pullDuringCommand(VirtualCable& cable, TarvixSDK& sdk)
{
    auto command = std::async(std::launch::async, [&sdk] {
        const StatusCode status = sdk.gpioDisableInterrupt(GpioPinNumber::PIN_0);
        return std::pair(status, Clock::now());
    });
    eventually("the command reaches the adapter", [&] { return cable.hasPrinted(" < "); });
    cable.pull();
    return command;
}

// Sends commands as fast as it can to an adapter that comes and goes.
class RestlessSender {
public:
    explicit RestlessSender(std::string serialNumber) : serialNumber_(std::move(serialNumber)) {}

    std::atomic<bool> reconnect = false;
    std::atomic<unsigned long> sent = 0;
    std::atomic<unsigned long> received = 0;

private:
    void work(const std::stop_token& ending)
    {
        TarvixAsyncSDK sdk;
        sdk.onResponse([this](const Bytes&) { ++received; });
        while (!ending.stop_requested()) {
            if (reconnect.exchange(false)) {
                sdk.disconnect();
            }
            if (!sdk.isConnected() && !sdk.connectWithSerialNumber(serialNumber_)) {
                std::this_thread::sleep_for(20ms); // looking for it is not what is tried here
                continue;
            }
            sdk.gpioDigitalRead(1, GpioPinNumber::PIN_0);
            ++sent;
        }
    }

    const std::string serialNumber_;
    std::jthread thread_{[this](const std::stop_token& ending) { work(ending); }};
};

const Scenario RESET("reset", [](Place place) {
    Bench bench(place);
    TarvixSDK& sdk = bench.sdk;
    succeed(sdk.gpioConfigurePin(GpioPinNumber::PIN_0, GpioFunctionality::INPUT_PULL_UP, GpioLogicLevel::LOW),
            "gpioConfigurePin");
    GpioLogicLevel level{};
    succeed(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), "gpioDigitalRead");
    require(level == GpioLogicLevel::HIGH, "a pulled-up pin is low");

    succeed(sdk.resetDevice(), "resetDevice");
    eventually("the adapter vanishes", [&] { return bench.cable.node().empty(); });
    sdk.disconnect();
    require(!sdk.connectWithSerialNumber(place.serialNumber()), "an adapter that is not there opens");
    eventually("the adapter returns", [&] { return !bench.cable.node().empty(); });
    require(sdk.connectWithSerialNumber(place.serialNumber()), "a returned adapter does not open");
    succeed(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), "gpioDigitalRead");
    require(level == GpioLogicLevel::LOW, "the adapter remembers what was before its reset");
});

const Scenario UNPLUG("unplug", [](Place place) {
    constexpr int SHORT_TIMEOUT_MS = 2000;
    Bench bench(place, SHORT_TIMEOUT_MS, SLOW);
    TarvixSDK& sdk = bench.sdk;

    const auto begin = Clock::now();
    auto command = pullDuringCommand(bench.cable, sdk);
    require(command.wait_for(0s) == std::future_status::timeout, "the command did not wait for its response");
    const auto [status, end] = command.get();
    require(status == StatusCode::NO_RESPONSE, "a command that lost its adapter returned " + hex(status));
    require(end - begin < SHORT_TIMEOUT_MS * 1ms + 5s, "a command outlived its timeout by far");

    const std::clock_t before = std::clock();
    require(sdk.gpioDisableInterrupt(GpioPinNumber::PIN_0) == StatusCode::NO_RESPONSE,
            "a command without an adapter was answered");
    const std::clock_t used = (std::clock() - before) / (CLOCKS_PER_SEC / 1000);
    require(used < 300, "an unplugged adapter costs " + std::to_string(used) + " ms of processor in 2 s");

    const auto closing = Clock::now();
    sdk.disconnect();
    require(Clock::now() - closing < 2s, "closing an unplugged adapter takes its time");
});

const Scenario REPLUG("replug", [](Place place) {
    constexpr int CYCLES = 25;
    VirtualCable cable(place);
    RestlessSender sender(place.serialNumber());
    for (int cycle = 0; cycle < CYCLES; ++cycle) {
        const unsigned long received = sender.received;
        eventually("responses arrive", [&] { return sender.received >= received + 3; });
        cable.pull();
        const unsigned long sent = sender.sent;
        eventually("the sender goes on", [&] { return sender.sent >= sent + 100; });
        sender.reconnect = true;
        cable.plug();
    }
});

// An adapter on the bus whose program takes nothing: its controller buffers a few reports, and then the kernel holds
// each writer for its own 5 s, whatever the session's timeout. A strict session ends with the first segment that fails.
const Scenario DEAF("deaf", [](Place place) {
    if (place.port == Port::UHID) {
        std::puts("e2e: skipped: /dev/uhid drops what nobody takes, and makes no writer wait");
        return;
    }
    constexpr std::size_t BUFFERED = 4; // reports, by usb_f_hid
    const VirtualCable cable(place);
    const auto time = [&](TarvixSDK& sdk, std::size_t segments) {
        const auto begin = Clock::now();
        const StatusCode status = sdk.uartSendMessage(Bytes(segments * (place.reportSize - 2) - 6));
        require(status == StatusCode::NO_RESPONSE, "a deaf adapter yields " + hex(status));
        return Clock::now() - begin;
    };
    constexpr int SHORT_TIMEOUT_MS = 100;
    TarvixSDK strict(SHORT_TIMEOUT_MS);
    openStrict(strict, place);
    cable.deafen();
    const auto once = time(strict, BUFFERED + 5);
    require(once > 4s && once < 9s, "a strict session holds its caller " + seconds(once));
    strict.disconnect();

    TarvixSDK plain(SHORT_TIMEOUT_MS);
    require(plain.connectWithSerialNumber(place.serialNumber()), "a deaf adapter does not open");
    const auto twice = time(plain, 2);
    require(twice > 9s, "a plain session holds its caller for two segments " + seconds(twice));
    plain.disconnect();

    cable.hear();
    TarvixSDK again(TIMEOUT_MS);
    openStrict(again, place);
    require(serialNumberOf(again) == place.serialNumber(), "the adapter is of no use any more");
});

// The host of the emulated machine may pause it at any time, so the median of the times counts.
const Scenario LOSS("loss", [](Place place) {
    constexpr int CYCLES = 5;
    constexpr int FOREVER = -1;
    TarvixSDK sdk(FOREVER);
    std::atomic<int> losses = 0;
    sdk.onConnectionLost([&] { ++losses; });
    std::vector<Clock::duration> times;
    VirtualCable cable(place, SLOW);
    for (int cycle = 1; cycle <= CYCLES; ++cycle) {
        openStrict(sdk, place);
        auto command = pullDuringCommand(cable, sdk);
        const auto gone = Clock::now();
        const auto [status, end] = command.get();
        require(status == StatusCode::ADAPTER_LOST, "a waiting call returned " + hex(status));
        require(!sdk.isConnected(), "a lost session claims to be connected");
        times.push_back(end - gone);
        eventually("the loss is reported", [&] { return losses == cycle; });
        cable.plug();
        require(losses == cycle, "a loss was reported twice");
    }
    std::sort(times.begin(), times.end());
    const auto median = std::chrono::duration_cast<std::chrono::milliseconds>(times[CYCLES / 2]);
    require(median <= 200ms, "calls end " + std::to_string(median.count()) + " ms after the node");
});

} // namespace

} // namespace e2e
