// What a flat handle holds.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "flat/notification_queue.hpp"
#include "handler_slot.hpp"
#include "home_process.hpp"
#include "tarvixsdk/flat.h"
#include "tarvixsdk/sdk.hpp"

struct TarvixSDK_Handle {
    explicit TarvixSDK_Handle(int timeout);

    // Ends the reader thread, which uses the members below, before they go.
    ~TarvixSDK_Handle() { sdk->disconnect(); }

    TarvixSDK_Handle(const TarvixSDK_Handle&) = delete;
    TarvixSDK_Handle& operator=(const TarvixSDK_Handle&) = delete;

    // A session has begun in this process.
    void begin()
    {
        home.moveHere();
        queue.begin();
    }

    void receive(const Notification& notification); // on the reader thread
    void loseConnection();                          // on the reader thread

    // What the class's methods run on, for functions whose bytes need no vector.
    using Session = TarvixSDK::Session;
    Session& session() const { return *sdk->session_; }

    HomeProcess home;
    std::unique_ptr<TarvixSDK> sdk;
    NotificationQueue queue;
    HandlerSlot<const std::uint8_t*, std::size_t> frameHandler;
    HandlerSlot<> lossHandler;
    std::atomic<TarvixSDK_NotificationCallback> notificationCallback = nullptr; // set by any thread, read by the reader

    // The reader thread's: what the callback is given.
    std::array<std::uint8_t, 256> notificationBuffer{};
    std::uint8_t notificationLength = 0;
};
