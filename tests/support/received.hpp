// Collects what a handler receives on the reader thread, and waits for it on the test's.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

template <typename Item>
class Received {
public:
    void add(Item item)
    {
        const std::lock_guard lock(mutex_);
        items_.push_back(std::move(item));
        changed_.notify_all();
    }

    // All items, once there are `count` of them; fewer after a generous limit.
    std::vector<Item> atLeast(std::size_t count)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(30), [&] { return items_.size() >= count; });
        return items_;
    }

    std::size_t size()
    {
        const std::lock_guard lock(mutex_);
        return items_.size();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Item> items_;
};
