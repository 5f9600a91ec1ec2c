// Events on their way from the reader thread to the command.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include "adapter/notifications.hpp"

namespace tool {

class EventQueue {
public:
    // Holds about `capacity` bytes.
    explicit EventQueue(std::size_t capacity);
    ~EventQueue();
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // Loses the event when the queue is full.
    void put(Event event);
    std::optional<Event> take();

    // How many events were lost since the last call.
    std::uint64_t takeLost();

    // Readable when there may be something to take, and after `wake`.
    int descriptor() const { return wakeUp_; }
    void wake() const;

private:
    const std::size_t capacity_;
    int wakeUp_;
    std::mutex mutex_;
    std::deque<Event> events_;
    std::size_t size_ = 0; // bytes
    std::uint64_t lost_ = 0;
};

} // namespace tool
