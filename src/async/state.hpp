// What a non-blocking session holds, and the end of every command.
#pragma once

#include <atomic>

#include "async/request_frame.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "transport/frame_link.hpp"

struct TarvixAsyncSDK::State {
    // SUCCESS, or why no command can be sent.
    StatusCode connection() const
    {
        return !connected ? StatusCode::NOT_CONNECTED : link.isLost() ? StatusCode::ADAPTER_LOST : StatusCode::SUCCESS;
    }

    // Tests the connection before the arguments. A plain session does not say whether the frame was written: one that
    // never reached the adapter shows as a missing response.
    StatusCode send(const RequestFrame& frame);

    std::atomic<bool> connected = false; // also read by handlers, on the reader thread
    FrameLink link;                      // last, so that its reader thread ends first
};
