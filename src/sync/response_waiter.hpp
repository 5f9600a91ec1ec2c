// Where the reader thread leaves a response and the caller waits for it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <span>
#include <vector>

#include "tarvixsdk/types.h"

// In a plain session it holds the most recent response that nobody has taken, matched to no request: one that arrives
// after its wait ended stays and answers the next one, and of two that arrive close together the later one wins. That
// is meant, for the adapter answers one request at a time.
//
// In a strict session only responses with an expected number count, and a wait also ends when the session does. Each
// request that may be unanswered has a place of its own for its response; unless `use` says otherwise there is one.
class ResponseWaiter {
public:
    static constexpr TransactionId NOBODY = 0; // the number of notifications, which are not stored here

    struct Place {
        TransactionId expected = NOBODY;
        bool arrived = false;
        std::vector<std::uint8_t> response;
    };

    // In milliseconds: -1 waits without limit, any other negative value is no time at all.
    explicit ResponseWaiter(int timeout) : timeout_(timeout) {}

    // A session begins. What is stored stays.
    void begin(bool strict)
    {
        const std::lock_guard lock(mutex_);
        strict_ = strict;
        ended_ = StatusCode::SUCCESS;
        only_.expected = NOBODY;
    }

    // Drops what is stored.
    void forget()
    {
        const std::lock_guard lock(mutex_);
        only_.arrived = false;
    }

    // In a strict session: from now on these are the places, which live until they are replaced; empty for the one that
    // is always there. What the ones before still expected is no longer expected.
    void use(std::span<Place> places)
    {
        const std::lock_guard lock(mutex_);
        places_ = places.empty() ? std::span(&only_, 1) : places;
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
    StatusCode expect(TransactionId transactionId, std::size_t place = 0)
    {
        const std::lock_guard lock(mutex_);
        places_[place].expected = transactionId;
        places_[place].arrived = false; // for a request that was not sent
        return ended_;
    }

    // On the reader thread. Out of memory, the response is dropped.
    void store(TransactionId transactionId, const std::vector<std::uint8_t>& response) noexcept
    {
        try {
            const std::lock_guard lock(mutex_);
            Place* const place = strict_ ? placeFor(transactionId) : &only_;
            if (place == nullptr) {
                ++unmatched_;
                return;
            }
            place->response = response;
            place->arrived = true;
        } catch (const std::bad_alloc&) {
            return;
        }
        condition_.notify_one();
    }

    // On the caller's thread. SUCCESS: `response` holds the response; the two buffers change places, so neither is
    // allocated anew. Otherwise `response` is unchanged.
    StatusCode take(std::vector<std::uint8_t>& response, std::size_t at = 0)
    {
        std::unique_lock lock(mutex_);
        Place& place = places_[at];
        const auto over = [&] { return place.arrived || ended_ != StatusCode::SUCCESS; };
        if (timeout_ == -1) {
            condition_.wait(lock, over);
        } else {
            condition_.wait_for(lock, std::chrono::milliseconds(timeout_), over);
        }
        place.expected = NOBODY;
        if (!place.arrived) {
            return ended_ != StatusCode::SUCCESS ? ended_ : StatusCode::NO_RESPONSE;
        }
        response.swap(place.response);
        place.arrived = false;
        return StatusCode::SUCCESS;
    }

    // After a request that could not be written: why the session is over, or NO_RESPONSE when it goes on.
    StatusCode takeEnd(std::chrono::milliseconds patience)
    {
        std::unique_lock lock(mutex_);
        condition_.wait_for(lock, patience, [this] { return ended_ != StatusCode::SUCCESS; });
        only_.expected = NOBODY;
        only_.arrived = false;
        return ended_ != StatusCode::SUCCESS ? ended_ : StatusCode::NO_RESPONSE;
    }

    // Responses that a strict session dropped because no call was waiting for them.
    std::uint64_t unmatched() const { return unmatched_; }

private:
    // Where the response with this number belongs; null for a response that nobody expects.
    Place* placeFor(TransactionId transactionId)
    {
        for (Place& place : places_) {
            if (place.expected == transactionId && !place.arrived) {
                return &place;
            }
        }
        return nullptr;
    }

    const int timeout_;
    std::mutex mutex_;
    std::condition_variable condition_;
    bool strict_ = false;
    StatusCode ended_ = StatusCode::SUCCESS; // why a strict session is over
    std::atomic<std::uint64_t> unmatched_ = 0;
    Place only_;
    std::span<Place> places_{&only_, 1};
};
