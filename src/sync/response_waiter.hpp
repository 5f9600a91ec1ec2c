// Where the reader thread leaves a response and the caller waits for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

// Holds the most recent response that nobody has taken. Responses are not matched to requests, because the adapter
// answers one request at a time: one that arrives after its wait ended answers the next request, and of two that arrive
// close together the later one wins.
class ResponseWaiter {
public:
    // In milliseconds: -1 waits without limit, any other negative value is no time at all.
    explicit ResponseWaiter(int timeout) : timeout_(timeout) {}

    // On the reader thread.
    void store(const std::vector<std::uint8_t>& response)
    {
        {
            const std::lock_guard lock(mutex_);
            response_ = response;
            arrived_ = true;
        }
        condition_.notify_one();
    }

    // On the caller's thread. Moves the response into `response`; false, and `response` unchanged, when none came in
    // time. The two buffers change places, so neither is allocated anew.
    bool take(std::vector<std::uint8_t>& response)
    {
        std::unique_lock lock(mutex_);
        const auto arrived = [this] { return arrived_; };
        if (timeout_ == -1) {
            condition_.wait(lock, arrived);
        } else {
            condition_.wait_for(lock, std::chrono::milliseconds(timeout_), arrived);
        }
        if (!arrived_) {
            return false;
        }
        response.swap(response_);
        arrived_ = false;
        return true;
    }

private:
    const int timeout_;
    std::mutex mutex_;
    std::condition_variable condition_;
    bool arrived_ = false;
    std::vector<std::uint8_t> response_;
};
