// Notifications that wait to be fetched, for callers whose language cannot be called from the reader thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <vector>

#include "tarvixsdk/types.h"

// Keeps the latest and drops the oldest, counting them. Any thread may call anything.
class NotificationQueue {
public:
    // A session has begun: drops what waits from before. So does the first notification, which may be faster.
    void begin();

    // The session ends: what waits can still be fetched, and then `why` is the answer. The first reason stays.
    void end(StatusCode why);

    // On the reader thread. Out of memory, the notification itself is the one that is dropped.
    void put(std::span<const std::uint8_t> frame) noexcept;

    // As TarvixSDK_NextNotification describes it.
    StatusCode take(std::span<std::uint8_t> buffer, std::size_t& length, int timeout);

    std::uint64_t dropped();

private:
    static constexpr std::size_t DEPTH = 256;                    // notifications
    static constexpr std::size_t CEILING = std::size_t{1} << 20; // bytes, for frames of a faulty adapter

    void beginIfEnded();
    void dropOldest();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::vector<std::uint8_t>> frames_;
    std::size_t bytes_ = 0; // in all of them
    std::uint64_t dropped_ = 0;
    StatusCode ended_ = StatusCode::NOT_CONNECTED; // SUCCESS while a session runs
};
