// When the library waits, and for how long.
#include <chrono>

#include "support/adapter.hpp"
#include "support/received.hpp"
#include "support/stopped_clock.hpp"
#include "tarvixsdk/async_sdk.hpp"

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

using Timing = Adapter;

TEST_F(Timing, ACallWaitsItsWholeTimeoutHoweverOftenItIsWoken)
{
    for (const int timeout : {1, 50, 2'147'483'647}) {
        StoppedClock clock;
        const auto waitsForIt = [&](auto call) {
            const auto begin = std::chrono::steady_clock::now();
            clock.watchThisThread(true);
            EXPECT_EQ(call(), StatusCode::NO_RESPONSE);
            clock.watchThisThread(false);
            ASSERT_EQ(Milliseconds(std::chrono::steady_clock::now() - begin).count(), timeout)
                << "on this clock, and not on one that may be set back";
        };
        TarvixSDK_Handle* const handle = TarvixSDK_Create(timeout);
        ASSERT_TRUE(TarvixSDK_Connect(handle, nullptr));
        std::size_t length = 0;
        waitsForIt([&] { return TarvixSDK_UartDeinit(handle); });
        waitsForIt([&] { return TarvixSDK_NextNotification(handle, nullptr, 0, &length, timeout); });
        TarvixSDK_Destroy(handle);
    }
}

TEST_F(Timing, AFailingReadIsTriedEverMoreRarelyUntilOneSucceeds)
{
    const std::vector<double> pauses{1, 2, 4, 8, 16, 32, 64, 100, 100, 100, 1, 2, 4};
    StoppedClock clock;
    Received<Bytes> received;
    TarvixAsyncSDK sdk;
    sdk.onResponse([&](const Bytes& frame) { received.add(frame); });
    ASSERT_TRUE(sdk.connect(""));
    clock.holdFrom(pauses.size() - 1);
    device->hiccup(10);
    device->deliverFrame({1, 0});
    ASSERT_EQ(received.atLeast(1).size(), 1U);
    device->unplug();
    EXPECT_EQ(clock.waits(pauses.size()), pauses);
    EXPECT_EQ(device->failedReads(), static_cast<int>(pauses.size()));
    sdk.disconnect(); // ends the pause, which nothing else would
}

} // namespace
