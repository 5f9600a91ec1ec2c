// Strict sessions and what stands beside the plain ones: opening with a reason, the lock, matched and bounded answers,
// loss, reopening, several threads. Through the shipped library with hidapi replaced.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <memory>
#include <thread>
#include <unistd.h>
#include <utility>

#include "golden/golden.hpp"
#include "support/adapter.hpp"
#include "support/received.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

constexpr int AT_ONCE = 1; // ms

struct Strict : Adapter {
    // Answers every request with this payload.
    void answer(const Bytes& payload, StatusCode status = StatusCode::SUCCESS)
    {
        const auto number = static_cast<std::uint16_t>(status);
        Adapter::answer(Bytes{static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8)} + payload);
    }

    // What the command of this golden request makes of an answer, which counts for nothing when the adapter failed.
    void expect(TarvixSDK& sdk, const char* request, const Bytes& payload, StatusCode expected)
    {
        SCOPED_TRACE(std::string(request) + ", answer " + hexOf(payload));
        static const std::vector<golden::Row> rows = golden::rowsWith(&golden::Row::block);
        const auto row = std::find_if(rows.begin(), rows.end(), [&](auto& it) { return it.request == request; });
        ASSERT_NE(row, rows.end());
        for (const StatusCode status : {expected, golden::ADAPTER_ERROR}) {
            answer(payload, status == golden::ADAPTER_ERROR ? status : StatusCode::SUCCESS);
            golden::Outputs outputs;
            EXPECT_EQ(row->block(sdk, outputs), status);
            EXPECT_EQ(outputs.values() + outputs.data() != "", status == StatusCode::SUCCESS) << "written";
        }
    }
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

// One reading command, its golden request: how many bytes that asks for, and how few the adapter may return.
const struct {
    const char* request;
    std::size_t asked;
    std::size_t least;
    Layout layout;
} READINGS[]{
    {"05 09 01 04 00 48 02 A2 A1 00 00 01", 4, 4, BYTES_FROM_9}, // I2C
    {"04 0D 00 00 04 00", 4, 4, COUNT_16_AT_6},                  // SPI
    {"08 19 30 11 00 02 A1 A2 00 00 04 00", 4, 0, COUNT_16_AT_8},
    {"08 19 30 03 99 00 34 12", 0x1234, 0, COUNT_16_AT_8},
    {"08 19 50 15 00 02 A1 A2 00 00 04 00", 4, 4, COUNT_16_AT_8}, // I2C targets have no way to end a read
    {"09 19 30 01 03 8B 00", 3, 0, COUNT_8_AT_9},                 // any CCC
    {"09 19 32 01 06 8D 00", 6, 6, COUNT_8_AT_9},                 // GETPID
    {"09 19 30 01 02 90 00", 2, 0, COUNT_8_AT_9},                 // GETSTATUS
    {"09 19 36 01 05 94 00", 5, 0, COUNT_8_AT_9},                 // GETMXDS
    {"09 19 30 01 04 95 00", 4, 0, COUNT_8_AT_9},                 // GETCAPS
    {"09 19 36 01 04 99 00", 4, 0, COUNT_8_AT_9},                 // GETXTIME
    {"09 19 30 01 02 8B 00", 2, 2, COUNT_8_AT_9},                 // GETMWL
    {"09 19 31 01 03 8C 00", 3, 2, COUNT_8_AT_9},                 // GETMRL
    {"09 19 33 01 01 8E 00", 1, 1, COUNT_8_AT_9},                 // GETBCR
    {"09 19 34 01 01 8F 00", 1, 1, COUNT_8_AT_9},                 // GETDCR
    {"09 19 30 11 01 9A 81", 1, 1, COUNT_8_AT_9},                 // RSTACT
    {"03 14 06", 1, 1, FIELDS},                                   // GPIO
};

TEST_F(Strict, AnAnswerOfAnotherSizeThanAskedForWritesNothing)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    for (const auto& [request, asked, least, layout] : READINGS) {
        const bool isBounded = layout.before + layout.countSize > 0;
        const StatusCode tooMany = isBounded ? StatusCode::UNEXPECTED_RESPONSE : StatusCode::SUCCESS;
        const StatusCode tooFew = least == asked ? StatusCode::RESPONSE_TOO_SHORT : StatusCode::SUCCESS;
        const StatusCode none = least > 0 ? StatusCode::RESPONSE_TOO_SHORT : StatusCode::SUCCESS;
        expect(sdk, request, {}, StatusCode::RESPONSE_TOO_SHORT);
        expect(sdk, request, layout.payload(asked, asked), StatusCode::SUCCESS);
        expect(sdk, request, layout.payload(asked - 1, asked - 1), tooFew);
        expect(sdk, request, layout.payload(asked + 1, asked + 1), tooMany);
        expect(sdk, request, layout.payload(0, 0), none);
        expect(sdk, request, layout.payload(asked, asked - 1), StatusCode::RESPONSE_TOO_SHORT);
        if (layout.countSize > 0) {
            const std::size_t most = (std::size_t{1} << 8 * layout.countSize) - 1;
            expect(sdk, request, layout.payload(most, asked), StatusCode::UNEXPECTED_RESPONSE);
            expect(sdk, request, layout.payload(asked, asked + 1), StatusCode::UNEXPECTED_RESPONSE);
        }
    }
}

TEST_F(Strict, ListsAreWholeOrNotWritten)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    const std::pair<const char*, Bytes> lists[]{{"06 19", Bytes(1 + 2 * 16, 2)}, // a device table of two records
                                                {"06 09 01 01", hex("00 02 01 50 51 01 02")},
                                                {"07 04 03", hex("03 61 62")}};
    for (const auto& [request, whole] : lists) {
        expect(sdk, request, whole, StatusCode::SUCCESS);
        expect(sdk, request, part(whole, 0, whole.size() - 1), StatusCode::RESPONSE_TOO_SHORT);
    }
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
    EXPECT_TRUE(sdk.connect("nowhere") && sdk.connectWithSerialNumber("nowhere")) << "the dead device stays";
    EXPECT_EQ(device->opens() - device->closes(), 1);
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

TEST_F(Strict, AFunctionAnswersInAnAdaptersPlace)
{
    std::vector<Bytes> requests;
    OpenOptions options;
    options.answer = [&](const Bytes& request) {
        requests.push_back(request);
        return request.at(2) == 3 ? answerTo(request, {0, 0, 1}) : Bytes{};
    };
    TarvixSDK sdk(300); // ms, for the one answer that does not come
    ASSERT_TRUE(sdk.open(options));
    EXPECT_TRUE(sdk.open() && sdk.connect("")) << "it stays";
    GpioLogicLevel level{};
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_5, level), StatusCode::SUCCESS);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
    EXPECT_EQ(sdk.uartSendMessage(Bytes(5000, 7)), StatusCode::NO_RESPONSE);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests.at(0), (Bytes{1, 0, 3, 0x14, 5}));
    EXPECT_EQ(requests.at(1).size(), 5006U) << "whole, not cut into reports";
    EXPECT_EQ(device->opens(), 0);
    sdk.disconnect();
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::NOT_CONNECTED);
    answer({1});
    ASSERT_TRUE(sdk.open());
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS);
    EXPECT_EQ(requests.size(), 2U);
}

TEST_F(Strict, AFunctionThatAnswersCallsHandlersAsAReaderDoes)
{
    auto captured = std::make_shared<int>();
    const std::weak_ptr<int> released = captured;
    OpenOptions options;
    options.answer = [captured = std::move(captured)](const Bytes& request) {
        return request.at(2) == 3 ? answerTo(request, {0, 0, 1}) : Bytes{};
    };
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    {
        TarvixAsyncSDK sdk;
        ASSERT_TRUE(sdk.open(options));
        options.answer = nullptr;
        std::vector<Bytes> responses;
        sdk.onResponse([&](const Bytes& response) {
            sigset_t mask;
            ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
            EXPECT_TRUE(sigismember(&mask, SIGUSR1) && !sigismember(&mask, SIGUSR2));
            responses.push_back(response);
            if (responses.size() < 3) {
                EXPECT_EQ(sdk.gpioDigitalRead(2, GpioPinNumber::PIN_5), StatusCode::SUCCESS);
            }
        });
        EXPECT_EQ(sdk.uartDeinit(1), StatusCode::SUCCESS);
        EXPECT_TRUE(responses.empty());
        EXPECT_EQ(sdk.gpioDigitalRead(1, GpioPinNumber::PIN_5), StatusCode::SUCCESS);
        EXPECT_EQ(responses.size(), 3U);
        EXPECT_FALSE(released.expired());
        sdk.disconnect();
        EXPECT_TRUE(released.expired());
    }
    ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
}

TEST_F(Strict, ServesSeveralThreadsOneAfterAnother)
{
    device->onFrame([this](const Bytes& request) { // an I2C read is answered with its register
        device->deliverFrame(answerTo(request, {0, 0, 0, 0, 0, request.at(9), request.at(4)}));
    });
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    std::vector<std::jthread> threads;
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
    threads.clear();
    EXPECT_EQ(sdk.unmatchedResponses(), 0U);
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

// A session can end only between two reads.
TEST_F(Strict, ReadsAreShortWhileASessionMayEndSoon)
{
    const auto areShort = [this] { // the first 4 ms long, each later one twice as long
        const int waited = device->readTimeouts();
        return waited < 4 << device->reads();
    };
    for (const bool strict : {true, false}) {
        TarvixSDK sdk(LONG_ENOUGH);
        device->forget();
        ASSERT_TRUE(sdk.open({.strict = strict}));
        ASSERT_TRUE(device->settle());
        EXPECT_EQ(areShort(), strict) << "at first";
        ASSERT_TRUE(device->waitUntil([](const auto& it) { return it.reads() > 5; })) << "long ones by now";
        device->forget();
        device->deliverFrame(hex("00 00 81 10"));
        ASSERT_TRUE(device->settle());
        EXPECT_EQ(areShort(), strict) << "after a report";
    }
}

// Numbers of the signals in this set, of the ones that programs catch and of the ones that faults raise.
std::vector<int> members(const sigset_t& set)
{
    std::vector<int> signals{SIGHUP,  SIGINT,  SIGTERM, SIGALRM, SIGCHLD, SIGIO,   SIGPROF, SIGUSR1,
                             SIGUSR2, SIGSEGV, SIGBUS,  SIGFPE,  SIGILL,  SIGTRAP, SIGSYS,  SIGABRT};
    std::erase_if(signals, [&](int signal) { return sigismember(&set, signal) == 0; });
    return signals;
}

TEST_F(Strict, TheReaderBlocksSignalsAndHandlersRunWithTheApplicationsMask)
{
    sigset_t mask, before;
    sigemptyset(&mask);
    sigaddset(&mask, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &mask, &before);
    TarvixSDK sdk(LONG_ENOUGH);
    Received<std::vector<int>> inHandler;
    sdk.onNotification([&](const Notification&) {
        sigset_t own;
        pthread_sigmask(SIG_SETMASK, nullptr, &own);
        inHandler.add(members(own));
    });
    ASSERT_TRUE(sdk.open());
    pthread_sigmask(SIG_SETMASK, &before, &mask);
    EXPECT_EQ(members(mask), std::vector{SIGUSR1}) << "after open";
    device->deliverFrame({0, 0, 0x81, 0x14});
    EXPECT_EQ(inHandler.atLeast(1).at(0), std::vector{SIGUSR1});
    ASSERT_TRUE(device->settle());
    const std::vector<int> caught{SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGIO, SIGPROF, SIGUSR1, SIGUSR2};
    EXPECT_EQ(members(device->readerSignals()), caught) << "and no faults";
}

} // namespace
