#include "scenarios.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tarvixsdk/sdk.hpp>

#include "session.hpp"
#include "waiting.hpp"

namespace e2e {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int FOREVER = -1;

// A process that has the adapter open until it is killed.
pid_t startHolder(const std::string& serialNumber)
{
    std::array<int, 2> ends{};
    require(::pipe(ends.data()) == 0, "cannot make a pipe");
    const pid_t holder = ::fork();
    require(holder >= 0, "cannot fork");
    if (holder == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a scenario that fails leaves no holder behind
        TarvixSDK sdk(TIMEOUT_MS);
        openStrict(sdk, serialNumber);
        ::close(ends[1]); // tells that it is open
        ::pause();
    }
    ::close(ends[1]);
    char nothing = 0;
    static_cast<void>(::read(ends[0], &nothing, 1)); // until the holder closes its end
    ::close(ends[0]);
    return holder;
}

bool isKeptOut(const VirtualCable& cable, pid_t holder)
{
    TarvixSDK sdk(TIMEOUT_MS);
    const OpenResult result = sdk.open({.serialNumber = cable.place().serialNumber()});
    return result.status == OpenStatus::IN_USE && result.holder == holder && result.path == cable.node() &&
           result.message.find("process " + std::to_string(holder) + " (tarvix-e2e)") != std::string::npos;
}

} // namespace

void lock(Place place)
{
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    openStrict(sdk, place.serialNumber());
    const pid_t self = ::getpid();
    require(inProcess([&] { return isKeptOut(cable, self) ? 0 : 1; }) == 0, "another process is not kept out");
    require(serialNumberOf(sdk) == place.serialNumber(), "the session suffers");
    sdk.disconnect();

    const pid_t holder = startHolder(place.serialNumber());
    require(isKeptOut(cable, holder), "a held adapter opens, or its holder is not named");
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    openStrict(sdk, place.serialNumber());
    require(serialNumberOf(sdk) == place.serialNumber(), "the lock's heir cannot use the adapter");
}

// The host of the emulated machine may pause it at any time, so the median of the times counts.
void loss(Place place)
{
    constexpr int CYCLES = 5;
    TarvixSDK sdk(FOREVER);
    std::atomic<int> losses = 0;
    sdk.onConnectionLost([&] { ++losses; });
    std::vector<Clock::duration> times;
    {
        VirtualCable cable(place, {"--latency", "60000", "--verbose"}); // answers after everything here is over
        for (int cycle = 1; cycle <= CYCLES; ++cycle) {
            openStrict(sdk, place.serialNumber());
            auto call = std::async(std::launch::async, [&sdk] {
                const StatusCode status = sdk.gpioDisableInterrupt(GpioPinNumber::PIN_0);
                return std::pair(status, Clock::now());
            });
            eventually("the command reaches the adapter", [&] { return cable.log().find(" < ") != std::string::npos; });
            cable.pull();
            const auto gone = Clock::now();
            const auto [status, end] = call.get();
            require(status == StatusCode::ADAPTER_LOST, "a waiting call returned " + hex(status));
            require(!sdk.isConnected(), "a lost session claims to be connected");
            times.push_back(end - gone);
            eventually("the loss is reported", [&] { return losses == cycle; });
            cable.plug();
        }
    }
    std::sort(times.begin(), times.end());
    const auto median = std::chrono::duration_cast<std::chrono::milliseconds>(times[CYCLES / 2]);
    require(median <= 200ms, "calls end " + std::to_string(median.count()) + " ms after the node");

    const VirtualCable cable(place);
    openStrict(sdk, place.serialNumber());
    require(serialNumberOf(sdk) == place.serialNumber(), "a reopened session cannot use the adapter");
    require(losses == CYCLES, "a loss was reported twice");
}

} // namespace e2e
