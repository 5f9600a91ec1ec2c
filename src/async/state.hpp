#pragma once

#include <atomic>

#include "tarvixsdk/async_sdk.hpp"
#include "transport/frame_link.hpp"

struct TarvixAsyncSDK::State {
    FrameLink link;
    std::atomic<bool> connected = false; // also read by handlers, on the reader thread
};
