// The blocking session: numbering, waiting, late and double responses, notifications, and the system commands, through
// the shipped library with hidapi replaced.
#include <atomic>
#include <csignal>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "support/adapter.hpp"
#include "support/received.hpp"
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

// Both faces show the same frames; the flat views tell a length as declared, the others bound it by the frame.
template <typename View, typename Show>
std::string shown(const Notification& n, const View* view, bool (*as)(const Notification*, View*), Show show)
{
    View flat{};
    EXPECT_EQ(as(&n, &flat), view != nullptr);
    EXPECT_FALSE(as(&n, nullptr) || as(nullptr, &flat));
    return view == nullptr ? "" : show(*view) + " | " + show(flat);
}

std::string views(const Notification& n)
{
    const auto rest = [&](const std::uint8_t* data, std::size_t length) {
        return std::to_string(length) + " of " + hexOf({data, n.data + n.length});
    };
    return shown(n, n.gpio(), TarvixSDK_notificationAsGpio, [](auto& v) { return hexOf({v.pinNumber}); }) +
           shown(n, n.uartRx(), TarvixSDK_notificationAsUartRx, [&](auto& v) { return rest(v.data, v.dataLength); }) +
           shown(n, n.i3cIbi(), TarvixSDK_notificationAsI3cIbi,
                 [&](auto& v) { return hexOf({v.targetAddress}) + ", " + rest(v.payload, v.payloadLength); }) +
           shown(n, n.i3cHotJoin(), TarvixSDK_notificationAsI3cHotJoin, [](auto& v) {
               return hexOf(Bytes(v.provisionalId, v.provisionalId + 6) + Bytes{v.bcr, v.dcr, v.dynamicAddress});
           });
}

using Notifications = Adapter;

TEST_F(Notifications, ShowTheViewOfTheirKindAndNoMoreThanTheyHold)
{
    using Kind = NotificationKind;
    using Case = std::tuple<Kind, std::string, std::string>; // with its frame and its views
    const std::vector<Case> cases{
        {Kind::GPIO_INTERRUPT, "00 00 81 14 00 00 05", "05 | 05"},
        {Kind::GPIO_INTERRUPT, "00 00 81 14 00 00", ""},
        {Kind::GPIO_INTERRUPT, "00 00 81 14", ""},
        {Kind::UART_RX, "00 00 81 10 00 00 03 00 41 42 43", "3 of 41 42 43 | 3 of 41 42 43"},
        {Kind::UART_RX, "00 00 81 10 00 00 02 00 41 42 43", "2 of 41 42 43 | 2 of 41 42 43"},
        {Kind::UART_RX, "00 00 81 10 00 00 02 01 41", "1 of 41 | 258 of 41"},
        {Kind::UART_RX, "00 00 81 10 00 00 00 00", "0 of  | 0 of "},
        {Kind::UART_RX, "00 00 81 10 00 00 01", ""},
        {Kind::I3C_IBI, "00 00 81 19 00 00 08 02 0A 0B 0C", "08, 2 of 0A 0B 0C | 08, 2 of 0A 0B 0C"},
        {Kind::I3C_IBI, "00 00 81 19 00 00 08 FF 0A", "08, 1 of 0A | 08, 255 of 0A"},
        {Kind::I3C_IBI, "00 00 81 19 00 00 08 00", "08, 0 of  | 08, 0 of "},
        {Kind::I3C_IBI, "00 00 81 19 00 00 08", ""},
        {Kind::I3C_HOT_JOIN, "00 00 82 19 00 00 01 02 03 04 05 06 07 08 09",
         "01 02 03 04 05 06 07 08 09 | 01 02 03 04 05 06 07 08 09"},
        {Kind::I3C_HOT_JOIN, "00 00 82 19 00 00 01 02 03 04 05 06 07 08", ""},
        {Kind::UNKNOWN, "00 00 83 19 00 00 01 02 03 04 05 06 07 08 09", ""},
    };
    Received<Case> received;
    TarvixSDK sdk(NOT_AT_ALL);
    sdk.onNotification([&](const Notification& it) {
        received.add({it.kind, hexOf({it.data, it.data + it.length}), views(it)});
    });
    ASSERT_TRUE(sdk.connect(""));
    for (const Case& test : cases) {
        device->deliverFrame({0, 0, 0x81}); // too short for a code: ignored
        device->deliverFrame(hex(std::get<1>(test)));
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
