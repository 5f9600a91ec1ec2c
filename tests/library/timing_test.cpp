// When the library waits, and for how long.
#include <chrono>

#include "support/adapter.hpp"
#include "support/received.hpp"
#include "support/stopped_clock.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

using Timing = Adapter;

TEST_F(Timing, ACommandWaitsItsWholeTimeoutHoweverOftenItIsWoken)
{
    for (const int timeout : {1, 50, 2'147'483'647}) {
        StoppedClock clock;
        TarvixSDK sdk(timeout);
        ASSERT_TRUE(sdk.connect(""));
        const auto begin = std::chrono::steady_clock::now();
        clock.watchThisThread(true);
        EXPECT_EQ(sdk.uartDeinit(), StatusCode::NO_RESPONSE);
        clock.watchThisThread(false);
        EXPECT_EQ(Milliseconds(std::chrono::steady_clock::now() - begin).count(), timeout);
        EXPECT_EQ(clock.onTheWallClock(), 0) << "a clock set back would stretch the wait";
    }
}

TEST_F(Timing, AnUnpluggedAdapterIsTriedEverMoreRarelyAndAtOnceAgainAfterASuccess)
{
    const std::vector<double> pauses{1, 2, 4, 8, 16, 32, 64, 100, 100, 100};
    StoppedClock clock;
    Received<Bytes> received;
    TarvixAsyncSDK sdk;
    sdk.onResponse([&](const Bytes& frame) { received.add(frame); });
    ASSERT_TRUE(sdk.connect(""));
    clock.holdFrom(pauses.size() - 1);
    device->unplug();
    EXPECT_EQ(clock.waits(pauses.size()), pauses);
    EXPECT_EQ(device->failedReads(), static_cast<int>(pauses.size()));
    sdk.disconnect(); // ends the pause, which nothing else would

    device->replug();
    ASSERT_TRUE(sdk.connect(""));
    device->deliverFrame({3, 0});
    EXPECT_EQ(received.atLeast(1), std::vector<Bytes>{(Bytes{3, 0})});
}

TEST_F(Timing, ASuccessfulReadEndsTheGrowthOfThePauses)
{
    StoppedClock clock;
    Received<Bytes> received;
    TarvixAsyncSDK sdk;
    sdk.onResponse([&](const Bytes& frame) { received.add(frame); });
    ASSERT_TRUE(sdk.connect(""));
    clock.holdFrom(6); // the hiccups
    device->hiccup(4);
    device->deliverFrame({1, 0});
    ASSERT_EQ(received.atLeast(1).size(), 1U);
    device->hiccup(3);
    EXPECT_EQ(clock.waits(7), (std::vector<double>{1, 2, 4, 8, 1, 2, 4}));
}

} // namespace
