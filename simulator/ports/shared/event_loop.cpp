#include "ports/shared/event_loop.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <sys/epoll.h>
#include <system_error>

namespace sim {

namespace {

void check(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

} // namespace

EventLoop::EventLoop() : epoll_(::epoll_create1(EPOLL_CLOEXEC))
{
    check(epoll_.get(), "epoll_create1");
    check(::sigprocmask(SIG_BLOCK, nullptr, &originalMask_), "sigprocmask");
}

EventLoop::~EventLoop()
{
    ::sigprocmask(SIG_SETMASK, &originalMask_, nullptr);
}

void EventLoop::watch(int descriptor, std::uint32_t events, Ready ready)
{
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    check(::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event), "epoll_ctl");
    watched_[descriptor] = std::make_shared<Ready>(std::move(ready));
}

void EventLoop::change(int descriptor, std::uint32_t events)
{
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    check(::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, descriptor, &event), "epoll_ctl");
}

void EventLoop::forget(int descriptor)
{
    if (watched_.erase(descriptor) != 0) {
        ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    }
}

EventLoop::Timer EventLoop::at(Clock::time_point due, std::function<void()> handler)
{
    const Timer timer{due, ++nextTimer_};
    timers_.emplace(timer, std::move(handler));
    return timer;
}

EventLoop::Timer EventLoop::after(Clock::duration delay, std::function<void()> handler)
{
    return at(Clock::now() + delay, std::move(handler));
}

void EventLoop::cancel(const Timer& timer)
{
    timers_.erase(timer);
}

void EventLoop::onSignals(std::initializer_list<int> signals, SignalHandler handler)
{
    sigset_t mask;
    ::sigemptyset(&mask);
    for (const int signal : signals) {
        ::sigaddset(&mask, signal);
    }
    check(::sigprocmask(SIG_BLOCK, &mask, nullptr), "sigprocmask");
    signals_ = FileDescriptor(::signalfd(-1, &mask, SFD_NONBLOCK | SFD_CLOEXEC));
    check(signals_.get(), "signalfd");
    watch(signals_.get(), EPOLLIN, [this, handler = std::move(handler)](std::uint32_t) {
        signalfd_siginfo signal;
        while (::read(signals_.get(), &signal, sizeof signal) == sizeof signal) {
            handler(signal);
        }
    });
}

int EventLoop::millisecondsToNextTimer() const
{
    if (timers_.empty()) {
        return -1;
    }
    // Rounded up, so that the loop never spins through the last fraction of a millisecond.
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.due - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

void EventLoop::fireTimers()
{
    // A timer that a handler sets for "now" waits for the next round, after the descriptors.
    const Timer last{Clock::now(), nextTimer_};
    while (running_ && !timers_.empty() && timers_.begin()->first <= last) {
        auto node = timers_.extract(timers_.begin());
        node.mapped()();
    }
}

void EventLoop::run()
{
    running_ = true;
    std::array<epoll_event, 64> events;
    while (running_) {
        const int count =
            ::epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), millisecondsToNextTimer());
        if (count < 0 && errno != EINTR) {
            check(count, "epoll_wait");
        }
        for (int i = 0; i < count && running_; ++i) {
            const auto& event = events[static_cast<std::size_t>(i)];
            const auto found = watched_.find(event.data.fd);
            if (found != watched_.end()) {
                const auto ready = found->second; // keeps the handler alive while it forgets itself
                (*ready)(event.events);
            }
        }
        fireTimers();
    }
}

} // namespace sim
