// Strict sessions and what stands beside the plain ones: opening with a reason, the lock, matched and bounded answers,
// loss, reopening, several threads. Through the shipped library with hidapi replaced.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "support/received.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

constexpr int FOREVER = -1;
constexpr int LONG_ENOUGH = 30'000; // ms; a test that runs into it fails
constexpr int AT_ONCE = 1;          // ms

Bytes answerTo(const Bytes& request, Bytes payload = {}, std::uint16_t status = 0)
{
    Bytes response(request.begin(), request.begin() + 4);
    response.push_back(static_cast<std::uint8_t>(status));
    response.push_back(static_cast<std::uint8_t>(status >> 8));
    response.insert(response.end(), payload.begin(), payload.end());
    return response;
}

class Strict : public testing::Test {
protected:
    Strict()
    {
        fake_hid::reset();
        device = fake_hid::attach({.path = "no file: nothing to lock"});
    }

    // Answers every request with this payload.
    void answer(Bytes payload, std::uint16_t status = 0)
    {
        device->onFrame([this, status, payload = std::move(payload)](const Bytes& request) {
            device->deliverFrame(answerTo(request, payload, status));
        });
    }

    // Waits until a request is on its way.
    void requestArrives()
    {
        ASSERT_TRUE(device->waitUntil([](const fake_hid::Device& it) { return !it.frames().empty(); }));
    }

    std::shared_ptr<fake_hid::Device> device;
};

class TemporaryFile {
public:
    TemporaryFile()
    {
        const int descriptor = ::mkstemp(path_);
        ::close(descriptor);
    }
    ~TemporaryFile() { std::remove(path_); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::string path() const { return path_; }

private:
    char path_[32] = "/tmp/tarvix-node.XXXXXX";
};

TEST(Opening, SaysWhatIsAttachedAndWhyNothingWasOpened)
{
    fake_hid::reset();
    TarvixSDK sdk(LONG_ENOUGH);
    EXPECT_EQ(sdk.open().message, "no adapter attached");
    EXPECT_EQ(sdk.open({.serialNumber = "A1"}).message, "no adapter attached with serial number A1");

    fake_hid::attach({.path = "", .serial = L"A0"}); // a null path: hidapi may have one
    fake_hid::attach({.path = "mouse", .vendorId = 0x046D, .serial = std::wstring(1, wchar_t{0xD800})});
    fake_hid::attach({.path = "a", .serial = L"A1"});
    EXPECT_TRUE(sdk.open());
    EXPECT_TRUE(sdk.isConnected());
    sdk.disconnect();
    EXPECT_TRUE(TarvixSDK(0).connect("")) << "the null path is passed over by a plain session, too";

    fake_hid::attach({.path = "b", .productId = fake_hid::LARGE_REPORTS, .serial = L"\u0416\u00e9"});
    fake_hid::attach({.path = "b", .productId = fake_hid::LARGE_REPORTS, .serial = L"B2"}); // another collection of b
    fake_hid::attach({.path = "c", .serial = L"no", .openable = false});
    const OpenResult several = sdk.open();
    EXPECT_EQ(several.status, OpenStatus::SEVERAL_ADAPTERS);
    EXPECT_EQ(several.message, "3 adapters attached: choose one by path or serial number");
    EXPECT_EQ(sdk.open({.path = "c"}).status, OpenStatus::FAILED);
    EXPECT_EQ(sdk.open({.path = "a", .serialNumber = "B2"}).status, OpenStatus::NO_ADAPTER);
    EXPECT_EQ(sdk.open({.serialNumber = "\u0416\u00e9"}).path, "b");
    EXPECT_EQ(sdk.open({.path = "a"}).path, "b") << "an open adapter stays";

    const std::vector<AdapterInfo> adapters = listAdapters();
    ASSERT_EQ(adapters.size(), 3U);
    EXPECT_EQ(adapters[1].path, "b");
    EXPECT_EQ(adapters[1].serialNumber, "\u0416\u00e9");
    EXPECT_EQ(adapters[1].reportSize, 1024U);
    EXPECT_EQ(adapters[1].productId, fake_hid::LARGE_REPORTS);
    EXPECT_EQ(fake_hid::bus().enumerations, 0) << "a list was not freed";
}

TEST(Opening, ASecondSessionIsKeptOutUntilTheFirstEnds)
{
    fake_hid::reset();
    const TemporaryFile node;
    fake_hid::attach({.path = node.path()});
    TarvixSDK first(LONG_ENOUGH);
    ASSERT_TRUE(first.open());
    TarvixSDK second(LONG_ENOUGH);
    const OpenResult refused = second.open();
    EXPECT_EQ(refused.status, OpenStatus::IN_USE);
    EXPECT_EQ(refused.holder, ::getpid());
    EXPECT_NE(refused.message.find("is in use by process " + std::to_string(::getpid()) + " ("), std::string::npos)
        << refused.message;
    EXPECT_FALSE(second.isConnected());
    EXPECT_TRUE(TarvixSDK(0).open({.exclusive = false}));
    EXPECT_TRUE(TarvixSDK(0).connect("")) << "a plain session asks for no lock";
    first.disconnect();
    EXPECT_TRUE(second.open());
}

TEST(Opening, WithoutAReaderThreadNothingStaysOpenOrLocked)
{
    fake_hid::reset();
    const TemporaryFile node;
    const auto device = fake_hid::attach({.path = node.path()});
    TarvixSDK sdk(LONG_ENOUGH);
    pthread_attr_t usual, greedy;
    pthread_getattr_default_np(&usual);
    pthread_getattr_default_np(&greedy);
    pthread_attr_setstacksize(&greedy, std::size_t{1} << 47); // there is no room for a stack
    pthread_setattr_default_np(&greedy);
    EXPECT_THROW(sdk.open(), std::system_error);
    pthread_setattr_default_np(&usual);
    EXPECT_FALSE(sdk.isConnected());
    EXPECT_EQ(device->closes(), 1);
    EXPECT_TRUE(TarvixSDK(0).open()) << "the lock is free";
}

TEST_F(Strict, OpenBeginsWithNothingStored)
{
    TarvixSDK sdk(AT_ONCE);
    for (const bool strict : {false, true}) {
        ASSERT_TRUE(sdk.connect(""));
        Bytes half(64); // a frame's first segment, without its end
        half[0] = 2 << 2 | 1;
        device->deliverFrame({9, 0, 5, 16, 0, 0});
        device->deliverReport(half);
        ASSERT_TRUE(device->settle());
        sdk.disconnect();
        ASSERT_TRUE(sdk.open({.strict = strict}));
        EXPECT_EQ(sdk.uartDeinit(), StatusCode::NO_RESPONSE) << "an old answer";
        Received<Bytes> notifications;
        sdk.onNotification([&](const Notification& it) { notifications.add({it.data, it.data + it.length}); });
        Bytes rest(64); // of a frame whose beginning is gone
        rest[0] = 7 << 2 | 2;
        rest[4] = 0x81;
        device->deliverReport(rest);
        device->deliverFrame({0, 0, 0x81, 0x14});
        EXPECT_EQ(notifications.atLeast(1).at(0).size(), strict ? 4U : 7U) << "half an old frame";
        sdk.onNotification({});
        sdk.disconnect();
    }
}

TEST_F(Strict, AnAnswerToARequestThatWasNotSentIsNotStored)
{
    TarvixSDK sdk(AT_ONCE);
    ASSERT_TRUE(sdk.open());
    Bytes data;
    EXPECT_EQ(sdk.i2cRead(0, 0x50, Bytes(5), 1, data, false), StatusCode::INVALID_ARGUMENT); // request 1
    device->deliverFrame({1, 0, 3, 9, 0, 0, 0, 0, 0, 0xAB});
    ASSERT_TRUE(device->settle());
    EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 1, data, false), StatusCode::NO_RESPONSE);
}

TEST_F(Strict, OnlyItsOwnAnswerCompletesACall)
{
    std::uint8_t level = 0;
    device->onFrame([&](const Bytes& request) {
        Bytes foreign = answerTo(request, {9});
        ++foreign[0];
        device->deliverFrame(foreign);                      // somebody else's
        device->deliverFrame(answerTo(request, {++level})); // ours
        device->deliverFrame(answerTo(request, {7}));       // ours again
    });
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    for (std::uint8_t i = 1; i <= 100; ++i) {
        GpioLogicLevel read{};
        ASSERT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, read), StatusCode::SUCCESS);
        ASSERT_EQ(read, GpioLogicLevel{i});
    }
    EXPECT_GE(sdk.unmatchedResponses(), 198U);
}

TEST_F(Strict, ALateAnswerIsDropped)
{
    TarvixSDK sdk(AT_ONCE);
    ASSERT_TRUE(sdk.open());
    GpioLogicLevel level{5};
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), StatusCode::NO_RESPONSE);
    device->deliverFrame(answerTo(device->frames().at(0), {9}));
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), StatusCode::NO_RESPONSE);
    EXPECT_EQ(level, GpioLogicLevel{5});
}

// One reading command: how many bytes are asked for, and its answer with `declared` and `held` of them.
struct Reading {
    const char* name;
    std::size_t asked;
    std::size_t least; // that the adapter may return
    std::size_t largestCount;
    Bytes (*payload)(std::size_t declared);
    StatusCode (*call)(TarvixSDK& sdk, Bytes& out);
};

Bytes bytesFrom9(std::size_t) // I2C read: nothing is declared
{
    return Bytes(3);
}

Bytes count16At6(std::size_t declared)
{
    return {static_cast<std::uint8_t>(declared), static_cast<std::uint8_t>(declared >> 8)};
}

Bytes count16At8(std::size_t declared)
{
    return {0, 0, static_cast<std::uint8_t>(declared), static_cast<std::uint8_t>(declared >> 8)};
}

Bytes count8At9(std::size_t declared)
{
    return {0, 0, 0, static_cast<std::uint8_t>(declared)};
}

template <typename Value>
StatusCode single(StatusCode status, Value value, Bytes& out)
{
    out.assign(1, static_cast<std::uint8_t>(value));
    return status;
}

constexpr std::size_t NOT_DECLARED = 0;

const Reading READINGS[]{
    {"i2cRead", 4, 4, NOT_DECLARED, bytesFrom9,
     [](TarvixSDK& sdk, Bytes& out) { return sdk.i2cRead(0, 0x50, {}, 4, out, false); }},
    {"spiTransfer", 4, 4, 65'535, count16At6,
     [](TarvixSDK& sdk, Bytes& out) {
         Bytes data(4);
         return sdk.spiTransfer(data, out, 4);
     }},
    {"i3cSdrRead", 4, 0, 65'535, count16At8,
     [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cSdrRead(8, {}, 4, out, I3cTransferFlags{}); }},
    {"i3cHdrDdrRead", 4, 0, 65'535, count16At8,
     [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cHdrDdrRead(8, 0x80, 4, out); }},
    {"i3cLegacyI2cRead", 4, 4, 65'535, count16At8,
     [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cLegacyI2cRead(8, {}, 4, out, I3cTransferFlags{}); }},
    {"i3cCccTransfer", 7, 0, 255, count8At9,
     [](TarvixSDK& sdk, Bytes& out) {
         return sdk.i3cCccTransfer(8, I3cTransferDirection::READ, I3cTransferMode::SDR, false,
                                   I3cCccType::WITHOUT_DEFINING_BYTE, 7, CCC{0xE1}, 0, {}, out);
     }},
    {"GETPID", 6, 6, 255, count8At9, [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cCccGETPID(8, out); }},
    {"GETSTATUS", 2, 0, 255, count8At9, [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cCccGETSTATUS(8, out, {}); }},
    {"GETMXDS", 5, 0, 255, count8At9, [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cCccGETMXDS(8, out); }},
    {"GETCAPS", 4, 0, 255, count8At9, [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cCccGETCAPS(8, out, {}); }},
    {"GETXTIME", 4, 0, 255, count8At9, [](TarvixSDK& sdk, Bytes& out) { return sdk.i3cCccGETXTIME(8, out); }},
    {"GETMWL", 2, 2, 255, count8At9,
     [](TarvixSDK& sdk, Bytes& out) {
         std::uint16_t value = out.at(0);
         const StatusCode status = sdk.i3cCccGETMWL(8, value);
         return single(status, value, out);
     }},
    {"GETMRL", 3, 2, 255, count8At9,
     [](TarvixSDK& sdk, Bytes& out) {
         std::uint16_t value = out.at(0);
         std::optional<std::uint8_t> size;
         const StatusCode status = sdk.i3cCccGETMRL(8, value, size);
         return single(status, value, out);
     }},
    {"GETBCR", 1, 1, 255, count8At9,
     [](TarvixSDK& sdk, Bytes& out) {
         std::uint8_t value = out.at(0);
         const StatusCode status = sdk.i3cCccGETBCR(8, value);
         return single(status, value, out);
     }},
    {"GETDCR", 1, 1, 255, count8At9,
     [](TarvixSDK& sdk, Bytes& out) {
         std::uint8_t value = out.at(0);
         const StatusCode status = sdk.i3cCccGETDCR(8, value);
         return single(status, value, out);
     }},
    {"RSTACT", 1, 1, 255, count8At9,
     [](TarvixSDK& sdk, Bytes& out) {
         std::uint8_t value = out.at(0);
         const StatusCode status =
             sdk.i3cCccRSTACTDirect(8, I3cTargetResetDefByte{0x81}, I3cTransferDirection::READ, &value);
         return single(status, value, out);
     }},
    // Fixed fields: as many bytes from 6 on as the outputs need, and more is no fault.
    {"gpioDigitalRead", 1, 1, NOT_DECLARED, nullptr,
     [](TarvixSDK& sdk, Bytes& out) {
         auto level = GpioLogicLevel{out.at(0)};
         const StatusCode status = sdk.gpioDigitalRead(GpioPinNumber::PIN_1, level);
         return single(status, level, out);
     }},
    {"gpioGetVoltage", 2, 2, NOT_DECLARED, nullptr,
     [](TarvixSDK& sdk, Bytes& out) {
         std::uint16_t value = out.at(0);
         const StatusCode status = sdk.gpioGetVoltage(value);
         return single(status, value, out);
     }},
    {"i3cGetBusVoltage", 6, 6, NOT_DECLARED, nullptr,
     [](TarvixSDK& sdk, Bytes& out) {
         std::uint16_t value = out.at(0);
         std::uint16_t other = 0;
         const StatusCode status = sdk.i3cGetBusVoltage(value, other);
         return single(status, value, out);
     }},
};

TEST_F(Strict, AnAnswerOfAnotherSizeThanAskedForWritesNothing)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    for (const Reading& reading : READINGS) {
        const auto expectThat = [&](std::size_t declared, std::size_t held, StatusCode expected) {
            SCOPED_TRACE(std::string(reading.name) + ", " + std::to_string(declared) + " declared, " +
                         std::to_string(held) + " held");
            Bytes payload = reading.payload == nullptr ? Bytes() : reading.payload(declared);
            payload.resize(payload.size() + held, 0xAB);
            answer(payload);
            Bytes out{0x5A};
            EXPECT_EQ(reading.call(sdk, out), expected);
            EXPECT_EQ(out == Bytes{0x5A}, expected != StatusCode::SUCCESS) << "written";
            answer(payload, 0x0102);
            out = {0x5A};
            EXPECT_EQ(reading.call(sdk, out), StatusCode{0x0102});
            EXPECT_EQ(out, Bytes{0x5A}) << "written in spite of an error";
        };
        answer({});
        Bytes out{0x5A};
        EXPECT_EQ(reading.call(sdk, out), StatusCode::RESPONSE_TOO_SHORT) << reading.name << ": a status and no more";
        EXPECT_EQ(out, Bytes{0x5A});
        const std::size_t asked = reading.asked;
        const bool bounded = reading.payload != nullptr;
        const StatusCode tooMany = bounded ? StatusCode::UNEXPECTED_RESPONSE : StatusCode::SUCCESS;
        const StatusCode tooFew = reading.least == asked ? StatusCode::RESPONSE_TOO_SHORT : StatusCode::SUCCESS;
        expectThat(asked, asked, StatusCode::SUCCESS);
        expectThat(asked - 1, asked - 1, tooFew);
        expectThat(asked + 1, asked + 1, tooMany);
        expectThat(0, 0, reading.least == 0 ? StatusCode::SUCCESS : StatusCode::RESPONSE_TOO_SHORT);
        expectThat(asked, asked - 1, StatusCode::RESPONSE_TOO_SHORT);
        if (reading.largestCount != NOT_DECLARED) {
            expectThat(reading.largestCount, asked, StatusCode::UNEXPECTED_RESPONSE);
            expectThat(asked, asked + 1, StatusCode::UNEXPECTED_RESPONSE);
        }
    }
}

TEST_F(Strict, ListsAreWholeOrNotWritten)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    std::vector<I3cTargetInfo> table(7);
    answer(Bytes(1 + 16, 2)); // two records announced, one held
    EXPECT_EQ(sdk.i3cGetDeviceTable(table), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(table.size(), 7U);
    answer(Bytes(1 + 32, 2));
    EXPECT_EQ(sdk.i3cGetDeviceTable(table), StatusCode::SUCCESS);
    EXPECT_EQ(table.size(), 2U);

    Bytes addresses{1};
    std::uint8_t one = 9;
    std::uint8_t two = 9;
    answer({0, 2, 1, 0x50, 0x51, 0x01});
    EXPECT_EQ(sdk.i2cScanBus(addresses, &one, &two, 0, false), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(one, 9) << "the counts of a list that is not whole";
    answer({0, 2, 1, 0x50, 0x51, 0x01, 0x02});
    EXPECT_EQ(sdk.i2cScanBus(addresses, &one, &two, 0, false), StatusCode::SUCCESS);
    EXPECT_EQ(addresses, (Bytes{0x50, 0x51, 0x01, 0x02}));

    Bytes string{1};
    answer({6, 'a', 'b'});
    EXPECT_EQ(sdk.getUsbString(string, 1), StatusCode::RESPONSE_TOO_SHORT);
    answer({3, 'a', 'b'}, 0x0102);
    EXPECT_EQ(sdk.getUsbString(string, 1), StatusCode{0x0102});
    EXPECT_EQ(string, Bytes{1});
    answer({3, 'a', 'b'});
    EXPECT_EQ(sdk.getUsbString(string, 1), StatusCode::SUCCESS);
    EXPECT_EQ(string, (Bytes{'a', 'b'}));
}

TEST_F(Strict, LosingTheAdapterEndsAWaitWithoutLimitAndOpenGetsItBack)
{
    TarvixSDK sdk(FOREVER);
    Received<int> losses;
    sdk.onConnectionLost([&] { losses.add(1); });
    ASSERT_TRUE(sdk.open());
    std::thread unplugger([&] {
        requestArrives();
        device->unplug();
    });
    GpioLogicLevel level{};
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), StatusCode::ADAPTER_LOST);
    unplugger.join();
    EXPECT_EQ(losses.atLeast(1).size(), 1U);
    EXPECT_FALSE(sdk.isConnected());
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::ADAPTER_LOST);
    EXPECT_EQ(sdk.resetDevice(), StatusCode::ADAPTER_LOST);
    TarvixSDK::DeviceInfo info;
    EXPECT_EQ(sdk.getDeviceInfo(info), StatusCode::ADAPTER_LOST);

    device->replug();
    answer({1});
    ASSERT_TRUE(sdk.open());
    EXPECT_EQ(device->closes(), 1) << "the dead device is closed first";
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), StatusCode::SUCCESS);
    EXPECT_EQ(losses.size(), 1U);
}

TEST_F(Strict, APlainSessionIsToldOfEachLossAndGoesOnWhenItEnds)
{
    TarvixAsyncSDK sdk;
    Received<int> losses;
    Received<Bytes> frames;
    sdk.onConnectionLost([&] { losses.add(1); });
    sdk.onResponse([&](const Bytes& frame) { frames.add(frame); });
    ASSERT_TRUE(sdk.connect(""));
    for (std::size_t i = 1; i <= 2; ++i) {
        device->unplug();
        EXPECT_EQ(losses.atLeast(i).size(), i);
        EXPECT_TRUE(sdk.isConnected());
        device->replug();
        device->deliverFrame({1, 0, 2, 3});
        EXPECT_EQ(frames.atLeast(i).size(), i);
    }
    device->unplug();
    losses.atLeast(3);
    EXPECT_TRUE(sdk.connect("")) << "the dead device stays";
    EXPECT_EQ(device->closes(), 0);
    EXPECT_TRUE(sdk.open()) << "the dead device goes";
    EXPECT_EQ(device->closes(), 1);
}

TEST_F(Strict, DisconnectingOnAnotherThreadEndsAWaitingCall)
{
    TarvixSDK sdk(FOREVER);
    ASSERT_TRUE(sdk.open());
    std::thread other([&] {
        requestArrives();
        sdk.disconnect();
    });
    GpioLogicLevel level{};
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), StatusCode::NOT_CONNECTED);
    other.join();
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::NOT_CONNECTED);
    answer({1});
    ASSERT_TRUE(sdk.open());
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS);
}

TEST_F(Strict, ARefusedDisconnectInAHandlerStillEndsTheSession)
{
    TarvixSDK sdk(FOREVER);
    Received<bool> refused;
    sdk.onNotification([&](const Notification&) {
        EXPECT_TRUE(sdk.open({.path = "other"})) << "keeps what is open";
        EXPECT_TRUE(sdk.isConnected());
        EXPECT_THROW(sdk.disconnect(), std::system_error);
        EXPECT_EQ(sdk.open().status, OpenStatus::FAILED);
        refused.add(true);
    });
    ASSERT_TRUE(sdk.open());
    device->deliverFrame({0, 0, 0x81, 0x14});
    ASSERT_EQ(refused.atLeast(1).size(), 1U);
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::NOT_CONNECTED);
    answer({});
    EXPECT_TRUE(sdk.open());
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS);
}

TEST_F(Strict, AHandlerNeitherStopsNorSpoilsOpeningOnAnotherThread)
{
    TarvixSDK sdk(LONG_ENOUGH);
    Received<bool> lost;
    std::atomic<bool> reopening = false;
    sdk.onConnectionLost([&] {
        lost.add(true);
        while (!reopening) {
            std::this_thread::yield();
        }
        for (int i = 0; i < 1000; ++i) {
            EXPECT_EQ(sdk.open().status, OpenStatus::FAILED);
            EXPECT_FALSE(sdk.connect(""));
            EXPECT_THROW(sdk.disconnect(), std::system_error);
        }
    });
    ASSERT_TRUE(sdk.open());
    device->unplug();
    ASSERT_EQ(lost.atLeast(1).size(), 1U);
    device->replug();
    answer({});
    reopening = true;
    ASSERT_TRUE(sdk.open());
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS);
}

TEST_F(Strict, ServesSeveralThreadsOneAfterAnother)
{
    device->onFrame([this](const Bytes& request) { // an I2C read is answered with its register
        device->deliverFrame(answerTo(request, {0, 0, 0, request.at(9), request.at(4)}));
    });
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    std::vector<std::thread> threads;
    for (std::uint8_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&sdk, thread] {
            for (int i = 0; i < 200; ++i) {
                const auto reg = static_cast<std::uint8_t>(50 * thread + i % 50);
                Bytes data;
                ASSERT_EQ(sdk.i2cRead(thread, 0x50, {reg}, 2, data, false), StatusCode::SUCCESS);
                ASSERT_EQ(data, (Bytes{reg, thread}));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sdk.unmatchedResponses(), 0U);
}

TEST_F(Strict, CallsWithoutLimitEndWhateverBecomesOfTheSession)
{
    answer({});
    TarvixSDK sdk(FOREVER);
    Received<int> losses;
    sdk.onConnectionLost([&] { losses.add(1); });
    std::atomic<bool> ending = false;
    const auto call = [&] {
        while (!ending) {
            sdk.uartDeinit();
        }
    };
    std::thread callers[]{std::thread(call), std::thread(call)};
    for (std::size_t round = 1; round <= 10; ++round) {
        ASSERT_TRUE(sdk.open());
        std::thread closer([&] { sdk.disconnect(); });
        sdk.open();
        closer.join();
        ASSERT_TRUE(sdk.open());
        EXPECT_NE(sdk.uartDeinit(), StatusCode::NOT_CONNECTED);
        device->unplug();
        ASSERT_EQ(losses.atLeast(round).size(), round);
        device->replug();
    }
    ending = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
}

TEST_F(Strict, ARequestThatCannotBeWrittenStopsAtTheFirstSegment)
{
    TarvixSDK sdk(FOREVER);
    ASSERT_TRUE(sdk.open());
    device->failWrites(true);
    EXPECT_EQ(sdk.uartSendMessage(Bytes(4096)), StatusCode::NO_RESPONSE);
    EXPECT_EQ(device->failedWrites(), 1);
    device->failWrites(false);
    answer({});
    EXPECT_EQ(sdk.uartSendMessage(Bytes(4096)), StatusCode::SUCCESS);
}

TEST_F(Strict, AFailingWriteOfAPlainSessionDoesNotWaitForIdleReads)
{
    TarvixAsyncSDK sdk;
    ASSERT_TRUE(sdk.connect(""));
    ASSERT_TRUE(device->waitUntil([](const fake_hid::Device& it) { return it.reads() > 0; }));
    device->failWrites(true);
    device->forget();
    EXPECT_EQ(sdk.uartSendMessage(1, Bytes(100 * 62)), StatusCode::SUCCESS);
    EXPECT_EQ(device->failedWrites(), 101);
    // What the reader asked to wait meanwhile, in ms; with idle reads it would be 100 for each segment.
    EXPECT_LT(device->readTimeouts(), 101 * 20);
}

TEST_F(Strict, SegmentsOutsideAFrameMakeNoNotifications)
{
    TarvixSDK sdk(AT_ONCE);
    Received<std::size_t> lengths;
    sdk.onNotification([&](const Notification& notification) { lengths.add(notification.length); });
    ASSERT_TRUE(sdk.open());
    Bytes report(64);
    report[0] = 4 << 2 | 1; // the first segment of a response
    report[2] = 1;
    device->deliverReport(report);
    device->deliverFrame({0, 0, 0x81, 0x14, 0, 0, 3}); // a notification in the middle of it
    report[0] = 4 << 2 | 2;                            // the last segment of the response, whose first is gone
    report[2] = 0;
    device->deliverReport(report);
    device->deliverFrame({0, 0, 0x81, 0x14, 0, 0, 3, 9});
    EXPECT_EQ(lengths.atLeast(2), (std::vector<std::size_t>{7, 8}));
}

TEST_F(Strict, HandlersRunWithTheApplicationsSignalMask)
{
    sigset_t own;
    sigemptyset(&own);
    sigaddset(&own, SIGUSR1);
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, &own, &before);
    TarvixSDK sdk(LONG_ENOUGH);
    Received<sigset_t> masks;
    sdk.onNotification([&](const Notification&) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        masks.add(mask);
    });
    ASSERT_TRUE(sdk.open());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    device->deliverFrame({0, 0, 0x81, 0x14});
    const sigset_t inHandler = masks.atLeast(1).at(0);
    device->forget();
    ASSERT_TRUE(device->waitUntil([](const fake_hid::Device& it) { return it.reads() > 1; }));
    const sigset_t whileReading = device->readerSignals();
    for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGUSR1, SIGUSR2}) {
        EXPECT_EQ(sigismember(&inHandler, signal), signal == SIGUSR1 ? 1 : 0) << strsignal(signal);
        EXPECT_EQ(sigismember(&whileReading, signal), 1) << strsignal(signal);
    }
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        EXPECT_EQ(sigismember(&whileReading, fault), 0) << strsignal(fault);
    }
}

TEST(StatusName, NamesTheLibrarysOwn)
{
    EXPECT_STREQ(statusName(StatusCode::SUCCESS), "SUCCESS");
    EXPECT_STREQ(statusName(StatusCode{0x2000}), "NO_RESPONSE");
    EXPECT_STREQ(statusName(StatusCode{0x6000}), "UNEXPECTED_RESPONSE");
    EXPECT_STREQ(statusName(StatusCode{0xC000}), "ADAPTER_LOST");
    EXPECT_EQ(statusName(StatusCode{0x0102}), nullptr);
}

} // namespace
