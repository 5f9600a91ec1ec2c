// What a non-blocking session holds, and the end of every command.
#pragma once

#include "async/request_frame.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "transport/frame_link.hpp"

struct TarvixAsyncSDK::State {
    // Tests the connection before the arguments. A plain session does not say whether the frame was written: one that
    // never reached the adapter shows as a missing response.
    StatusCode send(const RequestFrame& frame);

    FrameLink link;
};
