// When the library waits, and for how long, on a clock in the hands of the test: while it is stopped, timed waits of
// the library are written down and end as if they had been waited out. A test of timing then takes no time and is
// exact. Waits of the test and of the hidapi double last as long as ever. All this stands in for functions of the C
// library, so the sanitizers cannot have it.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>

#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "support/adapter.hpp"
#include "support/received.hpp"
#include "tarvixsdk/async_sdk.hpp"

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::int64_t SECOND = 1'000'000'000;
constexpr int UNWATCHED = -1;

std::atomic<bool> stopped = false;
std::atomic<std::int64_t> now = 0;            // ns
std::atomic<std::size_t> heldFrom = SIZE_MAX; // from this wait on, none ends but by a notification
std::optional<Received<double>> waits;        // ms
thread_local int earlyEnds =
    UNWATCHED; // of this thread, whose waits then count as the library's: the system may wake it

std::int64_t nanoseconds(const timespec& time)
{
    return time.tv_sec * SECOND + time.tv_nsec;
}

timespec timespecOf(std::int64_t time)
{
    return {static_cast<time_t>(time / SECOND), static_cast<long>(time % SECOND)};
}

std::int64_t timeOf(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return nanoseconds(time);
}

void stopClock(bool stop)
{
    now = timeOf(CLOCK_MONOTONIC);
    heldFrom = SIZE_MAX;
    waits.emplace();
    stopped = stop;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time)
{
    if (!stopped || clock != CLOCK_MONOTONIC) {
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    }
    *time = timespecOf(now);
    return 0;
}

extern "C" int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* lock, clockid_t clock,
                                      const timespec* time)
{
    const std::int64_t deadline = nanoseconds(*time);
    const std::int64_t left = std::max<std::int64_t>(0, deadline - timeOf(clock));
    int result = ETIMEDOUT;
    if (!stopped || (earlyEnds == UNWATCHED && !fake_hid::onReaderThread())) {
        const timespec realDeadline = timespecOf(timeOf(CLOCK_REALTIME) + left);
        result = pthread_cond_timedwait(condition, lock, &realDeadline);
    } else if (earlyEnds > 0) {
        --earlyEnds;
        now += left / 2;
        return 0;
    } else {
        waits->add(static_cast<double>(left) / 1e6);
        if (waits->size() > heldFrom) {
            return pthread_cond_wait(condition, lock);
        }
    }
    if (result == ETIMEDOUT) {
        now = std::max(now.load(), deadline);
    }
    return result;
}

namespace {

struct Timing : Adapter {
    Timing() { stopClock(true); }
    ~Timing() override { stopClock(false); }
};

TEST_F(Timing, ACallWaitsItsWholeTimeoutHoweverOftenItIsWoken)
{
    for (const int timeout : {1, 50, 2'147'483'647}) {
        const auto waitsForIt = [&](auto call) {
            const auto begin = std::chrono::steady_clock::now();
            earlyEnds = 3;
            EXPECT_EQ(call(), StatusCode::NO_RESPONSE);
            earlyEnds = UNWATCHED;
            ASSERT_EQ(Milliseconds(std::chrono::steady_clock::now() - begin).count(), timeout)
                << "on this clock, and not on one that may be set back";
        };
        TarvixSDK_Handle* const handle = TarvixSDK_Create(timeout);
        ASSERT_TRUE(TarvixSDK_Connect(handle, nullptr));
        std::size_t length = 0;
        waitsForIt([&] { return TarvixSDK_UartDeinit(handle); });
        waitsForIt([&] { return TarvixSDK_NextNotification(handle, nullptr, 0, &length, timeout); });
        TarvixSDK_Destroy(handle);
    }
}

TEST_F(Timing, AFailingReadIsTriedEverMoreRarelyUntilOneSucceeds)
{
    const std::vector<double> pauses{1, 2, 4, 8, 16, 32, 64, 100, 100, 100, 1, 2, 4};
    Received<Bytes> received;
    TarvixAsyncSDK sdk;
    sdk.onResponse([&](const Bytes& frame) { received.add(frame); });
    ASSERT_TRUE(sdk.connect(""));
    heldFrom = pauses.size() - 1;
    device->hiccup(10);
    device->deliverFrame({1, 0});
    ASSERT_EQ(received.atLeast(1).size(), 1U);
    device->unplug();
    EXPECT_EQ(waits->atLeast(pauses.size()), pauses);
    EXPECT_EQ(device->failedReads(), static_cast<int>(pauses.size()));
    sdk.disconnect(); // ends the pause, which nothing else would
}

} // namespace
