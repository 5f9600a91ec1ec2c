// Conversations of the shipped library with the virtual adapter: what a user's program may rely on. Runs as the command
// of `tarvix-sim run --adapters 64`; each test has an adapter of its own, by its serial number.
#include "tarvixsdk/sdk.hpp"

#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/bytes.hpp"
#include "support/received.hpp"

namespace {

constexpr int TIMEOUT_MS = 20'000; // generous: only a failure waits for it
constexpr auto OK = StatusCode::SUCCESS;

std::string serialNumber(int adapter)
{
    char text[16];
    std::snprintf(text, sizeof text, "TVX%07d", adapter + 1);
    return text;
}

int trigger(int adapter, const std::string& event)
{
    const std::string command = TARVIX_SIM " trigger " + event + " --adapter " + serialNumber(adapter) + " 2>/dev/null";
    return WEXITSTATUS(std::system(command.c_str()));
}

using Event = std::pair<NotificationKind, Bytes>;

// A session with one adapter that keeps the notifications it gets.
struct Session : TarvixSDK {
    explicit Session(int adapter) : TarvixSDK(TIMEOUT_MS)
    {
        onNotification([this](const Notification& notification) {
            notifications.add({notification.kind, {notification.data + 6, notification.data + notification.length}});
        });
        EXPECT_TRUE(connectWithSerialNumber(serialNumber(adapter)));
    }

    Received<Event> notifications;
};

TEST(Conversation, LongTransfersArriveWhole)
{
    Session sdk(0);
    ASSERT_EQ(sdk.i2cControllerInit(1, 1'000'000, 0), OK);
    Bytes read;
    ASSERT_EQ(sdk.i2cRead(1, 0x51, {0, 0}, 32'768, read, false), OK);
    EXPECT_EQ(read.size(), 32'768U);
    ASSERT_EQ(sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                    SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 1'000'000),
              OK);
    Bytes sent = counting(65'535);
    for (std::uint8_t round = 0; round < 10; ++round) {
        sent.front() = round;
        ASSERT_EQ(sdk.spiTransfer(sent, read, 65'535), OK);
        ASSERT_EQ(read, sent) << "round " << +round;
    }
}

TEST(Conversation, TriggersMakeTargetsInterruptAndJoin)
{
    constexpr int ADAPTER = 1;
    Session sdk(ADAPTER);
    EXPECT_NE(trigger(ADAPTER, "ibi"), 0) << "a bus that is down lets nobody interrupt";
    ASSERT_EQ(sdk.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4,
                                    I2cTransferRate::KHZ_400, I3cDriveStrength::MEDIUM),
              OK);
    ASSERT_EQ(sdk.i3cInitBus({}), OK);
    ASSERT_EQ(sdk.i3cCccENTDAA(), OK);
    ASSERT_EQ(trigger(ADAPTER, "ibi --target 0 0x0A 11"), 0);
    EXPECT_EQ(sdk.notifications.atLeast(1), (std::vector{Event{NotificationKind::I3C_IBI, {0x08, 2, 0x0A, 11}}}));
    ASSERT_EQ(sdk.i3cCccDISECDirect(0x08, 0x01), OK);
    EXPECT_NE(trigger(ADAPTER, "ibi --target 0"), 0);

    EXPECT_NE(trigger(ADAPTER, "hot-join --target 0"), 0) << "a target that has an address need not join";
    ASSERT_EQ(sdk.i3cCccRSTDAA(), OK);
    ASSERT_EQ(trigger(ADAPTER, "hot-join --target 1"), 0);
    EXPECT_EQ(sdk.notifications.atLeast(2).back(),
              Event(NotificationKind::I3C_HOT_JOIN, hex("7F FE 56 78 90 02 02 C6 08")));
}

TEST(Conversation, AnUnpluggedAdapterIsGoneUntilItIsReplugged)
{
    constexpr int ADAPTER = 2;
    Session sdk(ADAPTER);
    ASSERT_EQ(trigger(ADAPTER, "unplug"), 0);
    EXPECT_NE(trigger(ADAPTER, "unplug"), 0) << "already out";
    sdk.disconnect();
    EXPECT_FALSE(sdk.connectWithSerialNumber(serialNumber(ADAPTER)));
    ASSERT_EQ(trigger(ADAPTER, "replug"), 0);
    ASSERT_TRUE(sdk.connectWithSerialNumber(serialNumber(ADAPTER)));
    Bytes serial;
    EXPECT_EQ(sdk.getUsbString(serial, 3), OK);
}

TEST(Conversation, EveryHandleOfAnAdapterGetsItsReports)
{
    Session one(3);
    Session other(3);
    ASSERT_EQ(one.uartInit(UartBaudRate::BAUD_9600, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                           UartStopBit::ONE),
              OK);
    ASSERT_EQ(one.uartSendMessage({0x55}), OK);
    for (Session* const session : {&one, &other}) {
        EXPECT_EQ(session->notifications.atLeast(1), (std::vector{Event{NotificationKind::UART_RX, {1, 0, 0x55}}}));
    }
}

TEST(Conversation, SixtyFourAdaptersAreNeverMixedUp)
{
    std::vector<std::future<int>> answers;
    for (int adapter = 0; adapter < 64; ++adapter) {
        answers.push_back(std::async(std::launch::async, [adapter] {
            Session sdk(adapter);
            const std::string expected = serialNumber(adapter);
            int right = 0;
            for (int i = 0; i < 1'000; ++i) {
                Bytes serial;
                const auto status = sdk.getUsbString(serial, 3);
                right += status == OK && std::string(serial.begin(), serial.end()) == expected;
            }
            return right;
        }));
    }
    for (auto& answer : answers) {
        EXPECT_EQ(answer.get(), 1'000);
    }
}

} // namespace
