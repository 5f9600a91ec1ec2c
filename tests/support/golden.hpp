// Golden frames: what each asynchronous command must put on the wire, as bytes written by hand.
#pragma once

#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

using Bytes = fake_hid::Bytes;

struct Golden {
    const char* command;
    std::function<StatusCode(TarvixAsyncSDK& sdk)> send;
    Bytes frame;
};

// Each command is refused without a connection and sends exactly its frame with one.
inline void expectFrames(const std::vector<Golden>& table)
{
    fake_hid::reset();
    const auto device = fake_hid::attach();
    TarvixAsyncSDK sdk;
    for (const Golden& golden : table) {
        EXPECT_EQ(golden.send(sdk), StatusCode::NOT_CONNECTED) << golden.command;
    }
    ASSERT_TRUE(sdk.connect(""));
    for (const Golden& golden : table) {
        device->forget();
        EXPECT_EQ(golden.send(sdk), StatusCode::SUCCESS) << golden.command;
        EXPECT_EQ(device->frames(), std::vector<Bytes>{golden.frame}) << golden.command;
    }
}

// A blocking session whose adapter answers each request with `response`, the transaction id put in its place.
class Blocking : public testing::Test {
protected:
    Blocking()
    {
        fake_hid::reset();
        device = fake_hid::attach();
        device->onFrame([this](const Bytes& request) {
            if (!response.empty()) {
                response[0] = request.at(0);
                response.at(1) = request.at(1);
                device->deliverFrame(response);
            }
        });
        EXPECT_TRUE(sdk.connect(""));
    }

    // The last frame that was sent.
    Bytes sent() const { return device->frames().back(); }

    std::shared_ptr<fake_hid::Device> device;
    Bytes response;
    TarvixSDK sdk{30'000};
    TarvixSDK disconnected{30'000};
};
