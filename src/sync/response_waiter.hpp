// Where the reader thread leaves a response and the caller waits for it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

#include "tarvixsdk/types.h"

// In a plain session it holds the most recent response that nobody has taken, matched to no request: one that arrives
// after its wait ended stays and answers the next one, and of two that arrive close together the later one wins. That
// is meant, for the adapter answers one request at a time.
//
// In a strict session only the response with the expected number counts, and a wait also ends when the session does.
class ResponseWaiter {
public:
    // In milliseconds: -1 waits without limit, any other negative value is no time at all.
    explicit ResponseWaiter(int timeout) : timeout_(timeout) {}

    // A session begins. What is stored stays.
    void begin(bool strict)
    {
        const std::lock_guard lock(mutex_);
        strict_ = strict;
        ended_ = StatusCode::SUCCESS;
        expected_ = NOBODY;
    }

    // Drops what is stored.
    void forget()
    {
        const std::lock_guard lock(mutex_);
        arrived_ = false;
    }

    // From any thread: a strict session is over, so that this wait and those to come end with `why`. The first reason
    // stays.
    void end(StatusCode why)
    {
        {
            const std::lock_guard lock(mutex_);
            if (!strict_ || ended_ != StatusCode::SUCCESS) {
                return;
            }
            ended_ = why;
        }
        condition_.notify_all();
    }

    // In a strict session, before the request is sent. Why the session is over, or SUCCESS.
    StatusCode expect(TransactionId transactionId)
    {
        const std::lock_guard lock(mutex_);
        expected_ = transactionId;
        arrived_ = false; // for a request that was not sent
        return ended_;
    }

    // On the reader thread. Out of memory, the response is dropped.
    void store(TransactionId transactionId, const std::vector<std::uint8_t>& response) noexcept
    {
        try {
            const std::lock_guard lock(mutex_);
            if (strict_ && (transactionId != expected_ || arrived_)) {
                ++unmatched_;
                return;
            }
            response_ = response;
            arrived_ = true;
        } catch (const std::bad_alloc&) {
            return;
        }
        condition_.notify_one();
    }

    // On the caller's thread. SUCCESS: `response` holds the response; the two buffers change places, so neither is
    // allocated anew. Otherwise `response` is unchanged.
    StatusCode take(std::vector<std::uint8_t>& response)
    {
        std::unique_lock lock(mutex_);
        const auto over = [this] { return arrived_ || ended_ != StatusCode::SUCCESS; };
        if (timeout_ == -1) {
            condition_.wait(lock, over);
        } else {
            condition_.wait_for(lock, std::chrono::milliseconds(timeout_), over);
        }
        expected_ = NOBODY;
        if (!arrived_) {
            return ended_ != StatusCode::SUCCESS ? ended_ : StatusCode::NO_RESPONSE;
        }
        response.swap(response_);
        arrived_ = false;
        return StatusCode::SUCCESS;
    }

    // After a request that could not be written: why the session is over, or NO_RESPONSE when it goes on.
    StatusCode takeEnd(std::chrono::milliseconds patience)
    {
        std::unique_lock lock(mutex_);
        condition_.wait_for(lock, patience, [this] { return ended_ != StatusCode::SUCCESS; });
        expected_ = NOBODY;
        arrived_ = false;
        return ended_ != StatusCode::SUCCESS ? ended_ : StatusCode::NO_RESPONSE;
    }

    // Responses that a strict session dropped because no call was waiting for them.
    std::uint64_t unmatched() const { return unmatched_; }

private:
    static constexpr TransactionId NOBODY = 0; // the number of notifications, which are not stored here

    const int timeout_;
    std::mutex mutex_;
    std::condition_variable condition_;
    bool strict_ = false;
    bool arrived_ = false;
    TransactionId expected_ = NOBODY;
    StatusCode ended_ = StatusCode::SUCCESS; // why a strict session is over
    std::atomic<std::uint64_t> unmatched_ = 0;
    std::vector<std::uint8_t> response_;
};
