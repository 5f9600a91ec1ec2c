// The event loop of tarvix-sim: descriptors, timers and signals, all served by one thread.
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <signal.h>
#include <sys/signalfd.h>
#include <unordered_map>

#include "common/file_descriptor.hpp"

namespace sim {

// A handler may watch, forget, set timers and cancel them, its own included.
class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using Ready = std::function<void(std::uint32_t events)>;
    using SignalHandler = std::function<void(const signalfd_siginfo& signal)>;

    struct Timer {
        Clock::time_point due;
        std::uint64_t number = 0;
        auto operator<=>(const Timer&) const = default;
    };

    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // Calls `ready` with epoll's events as long as they hold. The descriptor must not block: an event may be stale,
    // because a handler before it in the same round closed its descriptor and another one got the number.
    void watch(int descriptor, std::uint32_t events, Ready ready);
    void change(int descriptor, std::uint32_t events);
    void forget(int descriptor); // before the descriptor is closed

    // Timers fire in the order of their due times, equal ones in the order in which they were set.
    Timer at(Clock::time_point due, std::function<void()> handler);
    Timer after(Clock::duration delay, std::function<void()> handler);
    void cancel(const Timer& timer);

    // Once per loop. Blocks the signals in this thread, for as long as the loop lives.
    void onSignals(std::initializer_list<int> signals, SignalHandler handler);
    const sigset_t& originalSignalMask() const { return originalMask_; }

    void run(); // until `stop`
    void stop() { running_ = false; }

private:
    int millisecondsToNextTimer() const;
    void fireTimers();

    FileDescriptor epoll_;
    std::unordered_map<int, std::shared_ptr<Ready>> watched_;
    std::map<Timer, std::function<void()>> timers_;
    std::uint64_t nextTimer_ = 0;
    FileDescriptor signals_;
    sigset_t originalMask_;
    bool running_ = false;
};

} // namespace sim
