// Conversations of the shipped library with the virtual adapter: what a user's program may rely on. Runs as the command
// of `tarvix-sim run --adapters 64`; each test has an adapter of its own, by its serial number.
#include "tarvixsdk/sdk.hpp"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;
using namespace std::chrono_literals;

constexpr int TIMEOUT_MS = 20'000; // generous: only a failure waits for it
constexpr auto PATIENCE = 20s;
constexpr auto OK = StatusCode::SUCCESS;

std::string serialNumber(int adapter)
{
    const std::string number = std::to_string(adapter + 1);
    return "TVX" + std::string(7 - number.size(), '0') + number;
}

bool eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

Bytes pattern(std::size_t size, unsigned seed)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + (i >> 8) + seed);
    }
    return bytes;
}

int trigger(int adapter, const std::string& event)
{
    const std::string command = TARVIX_SIM " trigger " + event + " --adapter " + serialNumber(adapter) + " 2>/dev/null";
    return WEXITSTATUS(std::system(command.c_str()));
}

// A session with one adapter that keeps the notifications it gets.
struct Session : TarvixSDK {
    explicit Session(int adapter) : TarvixSDK(TIMEOUT_MS)
    {
        onNotification([this](const Notification& notification) {
            const std::lock_guard lock(mutex);
            kinds.push_back(notification.kind);
            payloads.emplace_back(notification.data + 6, notification.data + notification.length);
            arrived.notify_all();
        });
        EXPECT_TRUE(connectWithSerialNumber(serialNumber(adapter)));
    }

    // The payload of the next notification, which must be of this kind.
    Bytes next(NotificationKind kind)
    {
        std::unique_lock lock(mutex);
        if (!arrived.wait_for(lock, PATIENCE, [&] { return taken < payloads.size(); })) {
            ADD_FAILURE() << "no notification";
            return {};
        }
        EXPECT_EQ(kinds[taken], kind);
        return payloads[taken++];
    }

    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<NotificationKind> kinds;
    std::vector<Bytes> payloads;
    std::size_t taken = 0;
};

TEST(Conversation, EepromPagesReadBackAndWrapInsideThePage)
{
    Session sdk(0);
    ASSERT_EQ(sdk.i2cControllerInit(0, 400'000, 0), OK);
    ASSERT_EQ(sdk.i2cControllerInit(1, 400'000, 0), OK);
    const Bytes page = pattern(8, 1);
    ASSERT_EQ(sdk.i2cWrite(0, 0x50, {0x10}, page, false), OK);
    Bytes read;
    ASSERT_EQ(sdk.i2cRead(0, 0x50, {0x10}, 8, read, false), OK);
    EXPECT_EQ(read, page);
    ASSERT_EQ(sdk.i2cWrite(0, 0x50, {0x17}, {0xAA, 0xBB}, false), OK); // the second byte wraps to the page's first
    ASSERT_EQ(sdk.i2cRead(0, 0x50, {0x10}, 8, read, false), OK);
    EXPECT_EQ(read.front(), 0xBB);
    EXPECT_EQ(read.back(), 0xAA);

    const Bytes largePage = pattern(64, 2);
    ASSERT_EQ(sdk.i2cWrite(1, 0x51, {0x7F, 0xC0}, largePage, false), OK);
    ASSERT_EQ(sdk.i2cRead(1, 0x51, {0x7F, 0xC0}, 64, read, false), OK);
    EXPECT_EQ(read, largePage);
}

TEST(Conversation, LongTransfersArriveWhole)
{
    Session sdk(1);
    ASSERT_EQ(sdk.i2cControllerInit(1, 1'000'000, 0), OK);
    Bytes read;
    ASSERT_EQ(sdk.i2cRead(1, 0x51, {0, 0}, 32'768, read, false), OK);
    EXPECT_EQ(read.size(), 32'768U);
    ASSERT_EQ(sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                    SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 1'000'000),
              OK);
    for (unsigned round = 0; round < 10; ++round) {
        Bytes sent = pattern(65'535, round);
        ASSERT_EQ(sdk.spiTransfer(sent, read, 65'535), OK);
        ASSERT_EQ(read, sent) << "round " << round;
    }
}

TEST(Conversation, FlashErasesAndPrograms)
{
    Session sdk(2);
    ASSERT_EQ(sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                    SpiChipSelect::SELECT_0, SpiChipSelectPolarity::ACTIVE_LOW, 10'000'000),
              OK);
    const auto command = [&](Bytes sent, std::uint16_t length) {
        Bytes received;
        EXPECT_EQ(sdk.spiTransfer(sent, received, length), OK);
        return received;
    };
    EXPECT_EQ(command({0x9F}, 4).back(), 0x14); // capacity: 2 to the 20th
    const Bytes data = pattern(256, 3);
    Bytes program{0x02, 0x01, 0x20, 0x00};
    program.insert(program.end(), data.begin(), data.end());
    command({0x06}, 1);
    EXPECT_EQ(command({0x05}, 2)[1], 0x02);
    command(program, static_cast<std::uint16_t>(program.size()));
    const Bytes programmed = command({0x03, 0x01, 0x20, 0x00}, 260);
    EXPECT_EQ(Bytes(programmed.begin() + 4, programmed.end()), data);
    command({0x06}, 1);
    command({0x20, 0x01, 0x20, 0x00}, 4);
    const Bytes erased = command({0x03, 0x01, 0x20, 0x00}, 260);
    EXPECT_EQ(Bytes(erased.begin() + 4, erased.end()), Bytes(256, 0xFF));
}

TEST(Conversation, TemperatureAndScan)
{
    Session sdk(3);
    ASSERT_EQ(sdk.i2cControllerInit(0, 100'000, 0), OK);
    Bytes read;
    ASSERT_EQ(sdk.i2cRead(0, 0x48, {0}, 2, read, false), OK);
    EXPECT_EQ(read, (Bytes{0x17, 0x80})); // 23.5 degrees
    std::uint8_t ones = 0;
    std::uint8_t twos = 0;
    ASSERT_EQ(sdk.i2cScanBus(read, &ones, &twos, 0, false), OK);
    EXPECT_EQ(read, (Bytes{0x48, 0x50}));
    EXPECT_NE(sdk.i2cRead(0, 0x49, {0}, 2, read, false), OK);
}

TEST(Conversation, UartReceivesWhatItSends)
{
    Session sdk(4);
    ASSERT_EQ(sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                           UartStopBit::ONE),
              OK);
    ASSERT_EQ(sdk.uartSendMessage({0x41, 0x42, 0x43}), OK);
    EXPECT_EQ(sdk.next(NotificationKind::UART_RX), (Bytes{3, 0, 0x41, 0x42, 0x43}));
}

TEST(Conversation, GpioPairMovesAndInterrupts)
{
    Session sdk(5);
    ASSERT_EQ(sdk.gpioConfigurePin(GpioPinNumber::PIN_2, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW), OK);
    ASSERT_EQ(sdk.gpioConfigurePin(GpioPinNumber::PIN_3, GpioFunctionality::INPUT, GpioLogicLevel::LOW), OK);
    ASSERT_EQ(sdk.gpioConfigureInterrupt(GpioPinNumber::PIN_3, GpioTriggerType::RISING_EDGE), OK);
    ASSERT_EQ(sdk.gpioDigitalWrite(GpioPinNumber::PIN_2, GpioLogicLevel::HIGH), OK);
    EXPECT_EQ(sdk.next(NotificationKind::GPIO_INTERRUPT), Bytes{3});
    auto level = GpioLogicLevel::LOW;
    ASSERT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_3, level), OK);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
}

TEST(Conversation, I3cBringUp)
{
    constexpr int ADAPTER = 6;
    Session sdk(ADAPTER);
    EXPECT_NE(trigger(ADAPTER, "ibi"), 0) << "a bus that is down lets nobody interrupt";
    ASSERT_EQ(sdk.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4,
                                    I2cTransferRate::KHZ_400, I3cDriveStrength::MEDIUM),
              OK);
    ASSERT_EQ(sdk.i3cInitBus({}), OK);
    ASSERT_EQ(sdk.i3cCccENTDAA(), OK);
    std::vector<I3cTargetInfo> table;
    ASSERT_EQ(sdk.i3cGetDeviceTable(table), OK);
    ASSERT_EQ(table.size(), 2U);
    for (const I3cTargetInfo& target : table) {
        Bytes pid;
        ASSERT_EQ(sdk.i3cCccGETPID(target.dynamicAddress, pid), OK);
        EXPECT_EQ(pid, Bytes(target.pid, target.pid + 6));
        const Bytes data = pattern(16, target.dynamicAddress);
        ASSERT_EQ(sdk.i3cSdrWrite(target.dynamicAddress, {0x04}, data, I3cTransferFlags::NONE), OK);
        Bytes read;
        ASSERT_EQ(sdk.i3cSdrRead(target.dynamicAddress, {0x04}, 16, read, I3cTransferFlags::NONE), OK);
        EXPECT_EQ(read, data);
    }
    const std::uint8_t first = table[0].dynamicAddress;
    ASSERT_EQ(trigger(ADAPTER, "ibi --target 0 0x0A 11"), 0);
    EXPECT_EQ(sdk.next(NotificationKind::I3C_IBI), (Bytes{first, 2, 0x0A, 11}));
    ASSERT_EQ(sdk.i3cCccDISECDirect(first, 0x01), OK);
    EXPECT_NE(trigger(ADAPTER, "ibi --target 0"), 0);

    EXPECT_NE(trigger(ADAPTER, "hot-join --target 0"), 0) << "a target that has an address need not join";
    ASSERT_EQ(sdk.i3cCccRSTDAA(), OK);
    ASSERT_EQ(trigger(ADAPTER, "hot-join --target 1"), 0);
    const Bytes joined = sdk.next(NotificationKind::I3C_HOT_JOIN);
    ASSERT_GE(joined.size(), 9U);
    Bytes pid;
    ASSERT_EQ(sdk.i3cCccGETPID(joined[8], pid), OK);
    EXPECT_EQ(pid, Bytes(joined.begin(), joined.begin() + 6));
}

TEST(Conversation, RailsReadBack)
{
    Session sdk(7);
    ASSERT_EQ(sdk.i2cSetBusVoltage(2500, false), OK);
    ASSERT_EQ(sdk.i3cSetBusVoltage(1200), OK);
    std::uint16_t shared = 0;
    std::uint16_t pins = 0;
    std::uint16_t regulator = 0;
    ASSERT_EQ(sdk.gpioGetVoltage(shared), OK);
    ASSERT_EQ(sdk.i3cGetBusVoltage(pins, regulator), OK);
    EXPECT_EQ(shared, 2500);
    EXPECT_EQ(pins, 1200);
    EXPECT_EQ(regulator, 1200);
    EXPECT_NE(sdk.gpioSetVoltage(60'000, false), OK);
}

TEST(Conversation, ResetVanishesAndComesBackCleared)
{
    constexpr int ADAPTER = 8;
    Session sdk(ADAPTER);
    ASSERT_EQ(sdk.i2cControllerInit(0, 100'000, 0), OK);
    ASSERT_EQ(sdk.resetDevice(), OK);
    sdk.disconnect();
    ASSERT_TRUE(eventually([&] { return sdk.connectWithSerialNumber(serialNumber(ADAPTER)); }));
    Bytes read;
    EXPECT_NE(sdk.i2cRead(0, 0x48, {0}, 2, read, false), OK) << "the port is no longer initialised";
    EXPECT_EQ(sdk.i2cControllerInit(0, 100'000, 0), OK);
}

TEST(Conversation, UnplugAndBootModeLastUntilReplug)
{
    constexpr int ADAPTER = 9;
    Session sdk(ADAPTER);
    for (const bool byHand : {true, false}) {
        if (byHand) {
            ASSERT_EQ(trigger(ADAPTER, "unplug"), 0);
        } else {
            ASSERT_EQ(sdk.enterBootMode(), OK);
        }
        sdk.disconnect();
        Bytes serial;
        ASSERT_TRUE(eventually([&] { return trigger(ADAPTER, "unplug") != 0; })) << "already out";
        EXPECT_FALSE(sdk.connectWithSerialNumber(serialNumber(ADAPTER)));
        ASSERT_EQ(trigger(ADAPTER, "replug"), 0);
        ASSERT_TRUE(sdk.connectWithSerialNumber(serialNumber(ADAPTER)));
        EXPECT_EQ(sdk.getUsbString(serial, 3), OK);
    }
}

TEST(Conversation, EveryHandleOfAnAdapterGetsItsReports)
{
    Session one(10);
    Session other(10);
    ASSERT_EQ(one.uartInit(UartBaudRate::BAUD_9600, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                           UartStopBit::ONE),
              OK);
    ASSERT_EQ(one.uartSendMessage({0x55}), OK);
    EXPECT_EQ(one.next(NotificationKind::UART_RX), (Bytes{1, 0, 0x55}));
    EXPECT_EQ(other.next(NotificationKind::UART_RX), (Bytes{1, 0, 0x55}));
}

TEST(Conversation, SixtyFourAdaptersAreNeverMixedUp)
{
    constexpr int ADAPTERS = 64;
    constexpr int COMMANDS = 1'000;
    std::vector<int> wrong(ADAPTERS, -1);
    std::vector<std::thread> sessions;
    for (int adapter = 0; adapter < ADAPTERS; ++adapter) {
        sessions.emplace_back([adapter, &wrong] {
            TarvixSDK sdk(TIMEOUT_MS);
            const std::string expected = serialNumber(adapter);
            if (!sdk.connectWithSerialNumber(expected)) {
                return;
            }
            int mistakes = 0;
            for (int i = 0; i < COMMANDS; ++i) {
                Bytes serial;
                const auto status = sdk.getUsbString(serial, 3);
                mistakes += status != OK || std::string(serial.begin(), serial.end()) != expected;
            }
            wrong[static_cast<std::size_t>(adapter)] = mistakes;
        });
    }
    for (auto& session : sessions) {
        session.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(ADAPTERS, 0));
}

} // namespace
