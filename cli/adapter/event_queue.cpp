#include "adapter/event_queue.hpp"

#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace tool {

namespace {

std::size_t sizeOf(const Event& event)
{
    return sizeof event + event.pid.size() + event.data.size();
}

} // namespace

EventQueue::EventQueue(std::size_t capacity) : capacity_(capacity), wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (wakeUp_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

EventQueue::~EventQueue()
{
    ::close(wakeUp_);
}

void EventQueue::put(Event event)
{
    const std::lock_guard lock(mutex_);
    if (size_ + sizeOf(event) > capacity_) {
        ++lost_;
        return;
    }
    size_ += sizeOf(event);
    events_.push_back(std::move(event));
    wake();
}

std::optional<Event> EventQueue::take()
{
    const std::lock_guard lock(mutex_);
    if (events_.empty()) {
        std::uint64_t number = 0;
        [[maybe_unused]] const auto taken = read(wakeUp_, &number, sizeof number);
        return std::nullopt;
    }
    Event event = std::move(events_.front());
    events_.pop_front();
    size_ -= sizeOf(event);
    return event;
}

std::uint64_t EventQueue::takeLost()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(lost_, 0);
}

void EventQueue::wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wakeUp_, &one, sizeof one);
}

} // namespace tool
