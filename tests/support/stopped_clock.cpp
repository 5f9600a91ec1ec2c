#include "support/stopped_clock.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <optional>

#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

#include "support/fake_hid.hpp"
#include "support/received.hpp"

namespace {

constexpr std::int64_t SECOND = 1'000'000'000;
constexpr int EARLY_ENDS = 3;

std::atomic<bool> stopped = false;
std::atomic<std::int64_t> now = 0; // nanoseconds
std::atomic<std::size_t> heldFrom = SIZE_MAX;
std::optional<Received<double>> seen;
thread_local bool watched = false;
thread_local int earlyEnds = 0;

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::int64_t nanoseconds(const timespec& time)
{
    return time.tv_sec * SECOND + time.tv_nsec;
}

timespec timespecOf(std::int64_t time)
{
    return {static_cast<time_t>(time / SECOND), static_cast<long>(time % SECOND)};
}

std::int64_t realNow()
{
    timespec time{};
    next<decltype(clock_gettime)>("clock_gettime")(CLOCK_MONOTONIC, &time);
    return nanoseconds(time);
}

void advanceTo(std::int64_t time)
{
    now = std::max(now.load(), time);
}

int waitOfTheLibrary(pthread_cond_t* condition, pthread_mutex_t* lock, std::int64_t deadline)
{
    if (watched && earlyEnds++ < EARLY_ENDS) {
        advanceTo(now + (deadline - now) / 2);
        return 0;
    }
    const std::size_t index = seen->size();
    seen->add(static_cast<double>(deadline - now) / 1e6);
    if (index >= heldFrom) {
        return pthread_cond_wait(condition, lock);
    }
    advanceTo(deadline);
    return ETIMEDOUT;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time)
{
    if (stopped && clock == CLOCK_MONOTONIC) {
        *time = timespecOf(now);
        return 0;
    }
    static auto* const real = next<decltype(clock_gettime)>("clock_gettime");
    return real(clock, time);
}

extern "C" int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* lock, clockid_t clock,
                                      const timespec* time)
{
    static auto* const real = next<decltype(pthread_cond_clockwait)>("pthread_cond_clockwait");
    if (!stopped || clock != CLOCK_MONOTONIC) {
        return real(condition, lock, clock, time);
    }
    const std::int64_t deadline = nanoseconds(*time);
    if (watched || fake_hid::onReaderThread()) {
        return waitOfTheLibrary(condition, lock, deadline);
    }
    const timespec realDeadline = timespecOf(realNow() + std::max<std::int64_t>(0, deadline - now));
    const int result = real(condition, lock, clock, &realDeadline);
    if (result == ETIMEDOUT) {
        advanceTo(deadline);
    }
    return result;
}

StoppedClock::StoppedClock()
{
    now = realNow();
    heldFrom = SIZE_MAX;
    seen.emplace();
    stopped = true;
}

StoppedClock::~StoppedClock()
{
    stopped = false;
    watched = false;
}

std::vector<double> StoppedClock::waits(std::size_t count) const
{
    return seen->atLeast(count);
}

void StoppedClock::holdFrom(std::size_t index)
{
    heldFrom = index;
}

void StoppedClock::watchThisThread(bool on)
{
    watched = on;
    earlyEnds = 0;
}
