// The blocking session: numbering, waiting, late and double responses, notifications, and the system commands, through
// the shipped library with hidapi replaced.
#include <atomic>
#include <csignal>
#include <stdexcept>
#include <thread>
#include <utility>

#include "support/adapter.hpp"
#include "support/received.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

using Session = Adapter;

TEST_F(Session, NumbersRequestsFromOneAndSkipsZero)
{
    TarvixSDK sdk(NOT_AT_ALL);
    EXPECT_EQ(sdk.gpioDisableInterrupt(GpioPinNumber::PIN_1), StatusCode::NOT_CONNECTED) << "uses up number 1";
    TarvixSDK::DeviceInfo info;
    EXPECT_EQ(sdk.getDeviceInfo(info), StatusCode::NOT_CONNECTED) << "uses up none";
    ASSERT_TRUE(sdk.connect(""));
    for (int i = 2; i <= 65535; ++i) {
        sdk.resetDevice();
    }
    sdk.resetDevice();
    const auto frames = device->frames();
    ASSERT_EQ(frames.size(), 65535U);
    EXPECT_EQ(frames.front(), (Bytes{0x02, 0x00, 0x01, 0x04}));
    EXPECT_EQ(frames[frames.size() - 2], (Bytes{0xFF, 0xFF, 0x01, 0x04}));
    EXPECT_EQ(frames.back(), (Bytes{0x01, 0x00, 0x01, 0x04}));
}

TEST_F(Session, TheResponseAfterATimeoutAnswersTheNextRequest)
{
    TarvixSDK sdk(NOT_AT_ALL);
    ASSERT_TRUE(sdk.connect(""));
    EXPECT_EQ(sdk.gpioDisableInterrupt(GpioPinNumber::PIN_1), StatusCode::NO_RESPONSE);
    device->deliverFrame({1, 0, 5, 0x14, 0x11, 0});
    device->deliverFrame({1, 0, 5, 0x14, 0x22, 0});
    device->deliverFrame({0, 0, 0x81, 0x14, 0, 0, 5}); // completes nothing
    ASSERT_TRUE(device->settle());
    EXPECT_EQ(sdk.gpioDisableInterrupt(GpioPinNumber::PIN_1), StatusCode{0x22}) << "the later of two counts";
    EXPECT_EQ(sdk.gpioDisableInterrupt(GpioPinNumber::PIN_1), StatusCode::NO_RESPONSE) << "it answers one only";
}

TEST_F(Session, TakesFramesOfEveryShortLength)
{
    const Bytes full{9, 0, 5, 0x14, 0x33, 0x00, 0xAA, 0xBB};
    TarvixSDK sdk(NOT_AT_ALL);
    ASSERT_TRUE(sdk.connect(""));
    for (std::size_t length = 0; length <= full.size(); ++length) {
        device->deliverFrame(Bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(length)));
        ASSERT_TRUE(device->settle());
        const StatusCode expected = length < 2   ? StatusCode::NO_RESPONSE
                                    : length < 6 ? StatusCode::RESPONSE_TOO_SHORT
                                                 : StatusCode{0x33};
        EXPECT_EQ(sdk.gpioDisableInterrupt(GpioPinNumber::PIN_1), expected) << length << " bytes";
    }
}

// ThreadSanitizer watches: late responses overwrite what the caller is about to read.
TEST_F(Session, SurvivesAnAdapterThatAnswersTooOften)
{
    TarvixSDK sdk(1);
    ASSERT_TRUE(sdk.connect(""));
    std::atomic<bool> stop = false;
    std::thread adapter([&] {
        while (!stop) {
            device->deliverFrame(Bytes(200, 0x41));
            device->deliverFrame({0, 0, 0x81, 0x10, 0, 0, 1, 0, 0x41});
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
    });
    Bytes string;
    std::atomic<int> notifications = 0;
    for (int i = 0; i < 300; ++i) {
        sdk.onNotification([&](const Notification&) { ++notifications; });
        const StatusCode status = sdk.getUsbString(string, 3);
        EXPECT_TRUE(status == StatusCode::NO_RESPONSE || status == StatusCode::UNEXPECTED_RESPONSE);
    }
    sdk.disconnect();
    stop = true;
    adapter.join();
}

TEST_F(Session, EveryNotificationReachesTheHandlerWithItsKind)
{
    const std::vector<std::pair<Bytes, NotificationKind>> cases{
        {{0, 0, 0x81, 0x14, 0, 0, 5}, NotificationKind::GPIO_INTERRUPT},
        {{0, 0, 0x81, 0x14}, NotificationKind::GPIO_INTERRUPT},
        {{0, 0, 0x81, 0x10, 0, 0, 1, 0, 0x41}, NotificationKind::UART_RX},
        {{0, 0, 0x81, 0x19, 0, 0, 8, 0}, NotificationKind::I3C_IBI},
        {{0, 0, 0x82, 0x19, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, NotificationKind::I3C_HOT_JOIN},
        {{0, 0, 0x83, 0x19, 0, 0, 1}, NotificationKind::UNKNOWN},
    };
    Received<std::pair<Bytes, NotificationKind>> received;
    TarvixSDK sdk(NOT_AT_ALL);
    sdk.onNotification([&](const Notification& notification) {
        received.add({{notification.data, notification.data + notification.length}, notification.kind});
    });
    ASSERT_TRUE(sdk.connect(""));
    for (const auto& [frame, kind] : cases) {
        device->deliverFrame({0, 0, 0x81}); // too short for a code: ignored
        device->deliverFrame(frame);
    }
    EXPECT_EQ(received.atLeast(cases.size()), cases);
}

TEST_F(Session, WhatAHandlerThrowsEndsTheProgram)
{
    const auto receive = [this] {
        TarvixSDK sdk(FOREVER);
        sdk.onNotification([](const Notification&) { throw std::runtime_error("thrown in a handler"); });
        sdk.connect("");
        device->deliverFrame({0, 0, 0x81, 0x14});
        sdk.uartDeinit();
    };
    EXPECT_EXIT(receive(), testing::KilledBySignal(SIGABRT), "thrown in a handler");
}

TEST_F(Session, GetUsbStringTakesItsOwnResponseOnly)
{
    const std::pair<const char*, Bytes> cases[]{
        {"another number", {2, 0, 7, 4, 0, 0, 2, 0x41}},
        {"another code", {1, 0, 9, 4, 0, 0, 2, 0x41}},
        {"without code", {1, 0, 7}},
    };
    for (const auto& [what, response] : cases) {
        TarvixSDK sdk(LONG_ENOUGH);
        ASSERT_TRUE(sdk.connect(""));
        device->onFrame([this, &answer = response](const Bytes&) { device->deliverFrame(answer); });
        Bytes string{0xEE};
        EXPECT_EQ(sdk.getUsbString(string, 1), StatusCode::UNEXPECTED_RESPONSE) << what;
        EXPECT_EQ(string, Bytes{0xEE}) << what;
    }
}

TEST_F(Session, GetDeviceInfoKeepsWhatItGotBeforeAFailure)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.connect(""));
    device->onFrame([&](const Bytes& request) {
        const std::uint8_t index = request.at(4);
        const std::uint8_t code = index <= 2 ? 7 : 9; // the third answer is another command's
        device->deliverFrame({request[0], request[1], code, 4, 0, 0, 2, static_cast<std::uint8_t>('0' + index)});
    });
    TarvixSDK::DeviceInfo info{"a", "b", "c", "d", "e"};
    EXPECT_EQ(sdk.getDeviceInfo(info), StatusCode::UNEXPECTED_RESPONSE);
    EXPECT_EQ(info.usbString1 + info.usbString2 + info.usbString3 + info.usbString4 + info.usbString5, "12cde");
}

} // namespace
