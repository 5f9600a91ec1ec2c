// What a flat handle holds.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "tarvixsdk/flat.h"
#include "tarvixsdk/sdk.hpp"

struct TarvixSDK_Handle {
    explicit TarvixSDK_Handle(int timeout) : sdk(std::make_unique<TarvixSDK>(timeout)) {}

    // Ends the reader thread, which writes to the members below, before they go.
    ~TarvixSDK_Handle() { sdk.reset(); }

    TarvixSDK_Handle(const TarvixSDK_Handle&) = delete;
    TarvixSDK_Handle& operator=(const TarvixSDK_Handle&) = delete;

    std::unique_ptr<TarvixSDK> sdk;
    std::atomic<TarvixSDK_NotificationCallback> notificationCallback = nullptr; // set by any thread, read by the reader

    // The reader thread's: what the callback is given.
    std::array<std::uint8_t, 256> notificationBuffer{};
    std::uint8_t notificationLength = 0;
};
