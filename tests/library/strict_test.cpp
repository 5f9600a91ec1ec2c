// Strict sessions and what stands beside the plain ones: opening with a reason, the lock, matched and bounded answers,
// loss, reopening, several threads. Through the shipped library with hidapi replaced.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>
#include <unistd.h>

#include "golden/golden.hpp"
#include "support/adapter.hpp"
#include "support/received.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

constexpr int AT_ONCE = 1; // ms

class Strict : public Adapter {
protected:
    // Answers every request with this payload.
    void answer(const Bytes& payload, StatusCode status = StatusCode::SUCCESS)
    {
        const auto number = static_cast<std::uint16_t>(status);
        Adapter::answer(Bytes{static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8)} + payload);
    }
};

// Lives as long as it is open; the path leads to it until then.
struct TemporaryFile {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{std::tmpfile(), std::fclose};
    std::string path = "/proc/self/fd/" + std::to_string(::fileno(file.get()));
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
    sdk.disconnect();

    fake_hid::attach({.path = "/etc/shadow", .openable = false});
    const uid_t user = ::getuid();
    const bool isRoot = ::setreuid(65'534, static_cast<uid_t>(-1)) == 0; // root may do everything
    EXPECT_EQ(sdk.open({.path = "/etc/shadow", .exclusive = false}).status, OpenStatus::NO_PERMISSION);
    EXPECT_EQ(isRoot, ::setreuid(user, static_cast<uid_t>(-1)) == 0 && user == 0);

    EXPECT_EQ(listAdapters().size(), 4U);
    EXPECT_EQ(fake_hid::bus().enumerations, 0) << "a list was not freed";
}

TEST(Opening, ASecondSessionIsKeptOutUntilTheFirstEnds)
{
    fake_hid::reset();
    const TemporaryFile node;
    fake_hid::attach({.path = node.path});
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
    device->deliverFrame({2, 0, 3, 9, 0, 0, 0, 0, 0, 0xAB});
    ASSERT_TRUE(device->settle());
    EXPECT_EQ(sdk.unmatchedResponses(), 1U) << "the answer came too late";
}

TEST_F(Strict, OnlyItsOwnAnswerCompletesACall)
{
    std::uint8_t level = 0;
    device->onFrame([&](const Bytes& request) {
        Bytes foreign = answerTo(request, {0, 0, 9});
        ++foreign[0];
        device->deliverFrame(foreign);                            // somebody else's
        device->deliverFrame(answerTo(request, {0, 0, ++level})); // ours
        device->deliverFrame(answerTo(request, {0, 0, 7}));       // ours again
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

// Where an answer's data stand behind the status, and the size of the count in front of them; without a count and any
// bytes before they are fields of fixed size.
struct Layout {
    std::size_t before;
    std::size_t countSize;

    bool isBounded() const { return before + countSize > 0; }
    std::size_t largestCount() const { return (std::size_t{1} << 8 * countSize) - 1; }

    Bytes payload(std::size_t declared, std::size_t held) const
    {
        const Bytes count{static_cast<std::uint8_t>(declared), static_cast<std::uint8_t>(declared >> 8)};
        return Bytes(before) + part(count, 0, countSize) + Bytes(held, 0xAB);
    }
};

constexpr Layout FIELDS{0, 0};
constexpr Layout BYTES_FROM_9{3, 0};
constexpr Layout COUNT_16_AT_6{0, 2};
constexpr Layout COUNT_16_AT_8{2, 2};
constexpr Layout COUNT_8_AT_9{3, 1};

// One reading command: how many bytes it asks for, and how few the adapter may return.
struct Reading {
    const char* name;
    std::size_t asked;
    std::size_t least;
    Layout layout;
    golden::BlockingCall call;
};

constexpr auto READ = I3cTransferDirection::READ;
constexpr auto SDR = I3cTransferMode::SDR;
constexpr auto PLAIN = I3cCccType::WITHOUT_DEFINING_BYTE;
constexpr I3cTransferFlags NONE{};
constexpr I3cTargetResetDefByte RESET_TIME{0x81};

// clang-format off
const Reading READINGS[]{
    {"i2cRead", 4, 4, BYTES_FROM_9, [](auto& sdk, auto& o) { return sdk.i2cRead(0, 0x50, {}, 4, o.bytes, false); }},
    {"spiTransfer", 4, 4, COUNT_16_AT_6,
     [](auto& sdk, auto& o) { return sdk.spiTransfer(golden::NOTHING, o.bytes, 4); }},
    {"i3cSdrRead", 4, 0, COUNT_16_AT_8, [](auto& sdk, auto& o) { return sdk.i3cSdrRead(8, {}, 4, o.bytes, NONE); }},
    {"i3cHdrDdrRead", 4, 0, COUNT_16_AT_8, [](auto& sdk, auto& o) { return sdk.i3cHdrDdrRead(8, 0x80, 4, o.bytes); }},
    {"i3cLegacyI2cRead", 4, 4, COUNT_16_AT_8,
     [](auto& sdk, auto& o) { return sdk.i3cLegacyI2cRead(8, {}, 4, o.bytes, NONE); }},
    {"i3cCccTransfer", 7, 0, COUNT_8_AT_9,
     [](auto& sdk, auto& o) { return sdk.i3cCccTransfer(8, READ, SDR, false, PLAIN, 7, CCC{0xE1}, 0, {}, o.bytes); }},
    {"GETPID", 6, 6, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETPID(8, o.bytes); }},
    {"GETSTATUS", 2, 0, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETSTATUS(8, o.bytes, {}); }},
    {"GETMXDS", 5, 0, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETMXDS(8, o.bytes); }},
    {"GETCAPS", 4, 0, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETCAPS(8, o.bytes, {}); }},
    {"GETXTIME", 4, 0, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETXTIME(8, o.bytes); }},
    {"GETMWL", 2, 2, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETMWL(8, o.word1); }},
    {"GETMRL", 3, 2, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETMRL(8, o.word1, o.optional); }},
    {"GETBCR", 1, 1, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETBCR(8, o.byte1); }},
    {"GETDCR", 1, 1, COUNT_8_AT_9, [](auto& sdk, auto& o) { return sdk.i3cCccGETDCR(8, o.byte1); }},
    {"RSTACT", 1, 1, COUNT_8_AT_9,
     [](auto& sdk, auto& o) { return sdk.i3cCccRSTACTDirect(8, RESET_TIME, READ, &o.byte1); }},
    {"gpioDigitalRead", 1, 1, FIELDS, [](auto& sdk, auto& o) { return sdk.gpioDigitalRead({}, o.level); }},
    {"gpioGetVoltage", 2, 2, FIELDS, [](auto& sdk, auto& o) { return sdk.gpioGetVoltage(o.word1); }},
    {"i3cGetBusVoltage", 6, 6, FIELDS, [](auto& sdk, auto& o) { return sdk.i3cGetBusVoltage(o.word1, o.word2); }},
};
// clang-format on

TEST_F(Strict, AnAnswerOfAnotherSizeThanAskedForWritesNothing)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    for (const Reading& reading : READINGS) {
        SCOPED_TRACE(reading.name);
        const auto expect = [&](const Bytes& payload, StatusCode fromAdapter, StatusCode expected) {
            answer(payload, fromAdapter);
            golden::Outputs outputs;
            EXPECT_EQ(reading.call(sdk, outputs), expected);
            EXPECT_EQ(outputs.values() + outputs.data() != "", expected == StatusCode::SUCCESS) << "written";
        };
        const auto expectThat = [&](std::size_t declared, std::size_t held, StatusCode expected) {
            SCOPED_TRACE(std::to_string(declared) + " declared, " + std::to_string(held) + " held");
            const Bytes payload = reading.layout.payload(declared, held);
            expect(payload, StatusCode::SUCCESS, expected);
            expect(payload, golden::ADAPTER_ERROR, golden::ADAPTER_ERROR);
        };
        const std::size_t asked = reading.asked;
        const bool isBounded = reading.layout.isBounded();
        const StatusCode tooMany = isBounded ? StatusCode::UNEXPECTED_RESPONSE : StatusCode::SUCCESS;
        const StatusCode tooFew = reading.least == asked ? StatusCode::RESPONSE_TOO_SHORT : StatusCode::SUCCESS;
        expect({}, StatusCode::SUCCESS, StatusCode::RESPONSE_TOO_SHORT);
        expectThat(asked, asked, StatusCode::SUCCESS);
        expectThat(asked - 1, asked - 1, tooFew);
        expectThat(asked + 1, asked + 1, tooMany);
        expectThat(0, 0, reading.least == 0 ? StatusCode::SUCCESS : StatusCode::RESPONSE_TOO_SHORT);
        expectThat(asked, asked - 1, StatusCode::RESPONSE_TOO_SHORT);
        if (reading.layout.countSize > 0) {
            expectThat(reading.layout.largestCount(), asked, StatusCode::UNEXPECTED_RESPONSE);
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
    answer({3, 'a', 'b'}, golden::ADAPTER_ERROR);
    EXPECT_EQ(sdk.getUsbString(string, 1), golden::ADAPTER_ERROR);
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
        bool isRefused = false;
        try {
            sdk.disconnect();
        } catch (const std::system_error& error) {
            isRefused = error.code() == std::errc::resource_deadlock_would_occur;
        }
        EXPECT_EQ(sdk.open().status, OpenStatus::FAILED);
        refused.add(isRefused);
    });
    ASSERT_TRUE(sdk.open());
    device->deliverFrame({0, 0, 0x81, 0x14});
    ASSERT_EQ(refused.atLeast(1), std::vector{true});
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
        device->deliverFrame(answerTo(request, {0, 0, 0, 0, 0, request.at(9), request.at(4)}));
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

TEST_F(Strict, ARequestStopsAtTheFirstSegmentThatCannotBeWritten)
{
    TarvixSDK sdk(FOREVER);
    ASSERT_TRUE(sdk.open());
    answer({});
    for (const std::size_t failing : {1U, 2U, 67U}) { // of 67
        device->forget();
        device->failWrite(static_cast<int>(failing));
        EXPECT_EQ(sdk.uartSendMessage(Bytes(4096)), StatusCode::NO_RESPONSE);
        EXPECT_EQ(device->reports().size(), failing - 1);
        EXPECT_EQ(sdk.uartSendMessage(Bytes(4096)), StatusCode::SUCCESS);
    }
}

TEST_F(Strict, AFailingWriteOfAPlainSessionDoesNotWaitForIdleReads)
{
    TarvixAsyncSDK sdk;
    ASSERT_TRUE(sdk.connect(""));
    ASSERT_TRUE(device->settle());
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

TEST_F(Strict, TheReaderBlocksSignalsAndHandlersRunWithTheApplicationsMask)
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
    sigset_t afterOpen;
    pthread_sigmask(SIG_SETMASK, &before, &afterOpen);
    device->deliverFrame({0, 0, 0x81, 0x14});
    const sigset_t inHandler = masks.atLeast(1).at(0);
    ASSERT_TRUE(device->settle());
    const sigset_t whileReading = device->readerSignals();
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGIO, SIGPROF, SIGUSR1, SIGUSR2}) {
        EXPECT_EQ(sigismember(&afterOpen, signal), signal == SIGUSR1 ? 1 : 0) << strsignal(signal);
        EXPECT_EQ(sigismember(&inHandler, signal), signal == SIGUSR1 ? 1 : 0) << strsignal(signal);
        EXPECT_EQ(sigismember(&whileReading, signal), 1) << strsignal(signal);
    }
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        EXPECT_EQ(sigismember(&whileReading, fault), 0) << strsignal(fault);
    }
}

} // namespace
