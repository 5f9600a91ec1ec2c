#include "flat/notification_queue.hpp"

#include <algorithm>
#include <chrono>
#include <new>

void NotificationQueue::begin()
{
    const std::lock_guard lock(mutex_);
    beginIfEnded();
}

void NotificationQueue::beginIfEnded()
{
    if (ended_ != StatusCode::SUCCESS) {
        frames_.clear();
        bytes_ = 0;
        ended_ = StatusCode::SUCCESS;
    }
}

void NotificationQueue::end(StatusCode why)
{
    const std::lock_guard lock(mutex_);
    if (ended_ == StatusCode::SUCCESS) {
        ended_ = why;
        changed_.notify_all();
    }
}

void NotificationQueue::put(std::span<const std::uint8_t> frame) noexcept
{
    const std::lock_guard lock(mutex_);
    beginIfEnded();
    try {
        frames_.emplace_back(frame.begin(), frame.end());
        bytes_ += frame.size();
    } catch (const std::bad_alloc&) {
        ++dropped_;
        return;
    }
    while (frames_.size() > DEPTH || (bytes_ > CEILING && frames_.size() > 1)) {
        dropOldest();
        ++dropped_;
    }
    changed_.notify_all(); // one whose buffer is too small leaves it to another
}

StatusCode NotificationQueue::take(std::span<std::uint8_t> buffer, std::size_t& length, int timeout)
{
    std::unique_lock lock(mutex_);
    const auto ready = [this] { return !frames_.empty() || ended_ != StatusCode::SUCCESS; };
    if (timeout == -1) {
        changed_.wait(lock, ready);
    } else {
        changed_.wait_for(lock, std::chrono::milliseconds(timeout), ready);
    }
    if (frames_.empty()) {
        return ended_ != StatusCode::SUCCESS ? ended_ : StatusCode::NO_RESPONSE;
    }
    length = frames_.front().size();
    if (length > buffer.size()) {
        return StatusCode::INVALID_ARGUMENT;
    }
    std::copy(frames_.front().begin(), frames_.front().end(), buffer.begin());
    dropOldest();
    return StatusCode::SUCCESS;
}

void NotificationQueue::dropOldest()
{
    bytes_ -= frames_.front().size();
    frames_.pop_front();
}

std::uint64_t NotificationQueue::dropped()
{
    const std::lock_guard lock(mutex_);
    return dropped_;
}
