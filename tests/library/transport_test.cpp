// Finding and opening an adapter, reports and segments, the reader thread, faults and unplugging: through the
// asynchronous class of the shipped library, with hidapi replaced.
#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "support/received.hpp"
#include "tarvixsdk/async_sdk.hpp"

namespace {

using namespace std::chrono_literals;

class Transport : public testing::Test {
protected:
    Transport() { fake_hid::reset(); }
    ~Transport() override { EXPECT_EQ(fake_hid::bus().enumerations, 0) << "an enumeration was not freed"; }
};

TEST_F(Transport, OpensTheFirstDeviceThatPassesTheFilters)
{
    using fake_hid::Entry;
    const std::vector<Entry> entries{
        {"/dev/hidraw0", 0x046D, 0xC077, L"B2"},                             // somebody's mouse, same serial number
        {"/dev/hidraw1", 0x1FC9, 0x82FE, L"B2"},                             // right vendor, unknown product
        {"/dev/hidraw8", 0x046D, fake_hid::SMALL_REPORTS, L"B2"},            // right product, another vendor
        {"/dev/hidraw2", 0x1FC9, fake_hid::SMALL_REPORTS, std::nullopt},     // reports no serial number
        {"/dev/hidraw3", 0x1FC9, fake_hid::LARGE_REPORTS, L"B2"},            //
        {"/dev/hidraw4", 0x1FC9, fake_hid::SMALL_REPORTS, L"B2"},            // a clone
        {"/dev/hidraw5", 0x1FC9, fake_hid::SMALL_REPORTS, L"NOPERM", false}, // cannot be opened
    };
    const struct {
        std::string path;
        std::string serial;
        int opened; // index of the device that must be open, -1 for none
    } cases[]{
        {"", "", 3},              // the first supported one
        {"/dev/hidraw4", "", 5},  //
        {"/dev/hidraw0", "", -1}, // unsupported vendor
        {"/dev/hidraw8", "", -1}, // another vendor's product
        {"/dev/hidraw1", "", -1}, // unsupported product
        {"/dev/hidraw", "", -1},  // prefix of a path
        {"", "B2", 4},            // the first with it
        {"", "B", -1},            // prefix of a serial number
        {"", "NOPERM", -1},       //
    };
    for (const auto& [path, serial, opened] : cases) {
        SCOPED_TRACE(path + serial);
        fake_hid::reset();
        TarvixAsyncSDK sdk;
        for (const Entry& entry : entries) {
            fake_hid::attach(entry);
        }
        const bool connected = serial.empty() ? sdk.connect(path) : sdk.connectWithSerialNumber(serial);
        EXPECT_EQ(connected, opened >= 0);
        EXPECT_EQ(sdk.isConnected(), connected);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            EXPECT_EQ(fake_hid::bus().devices[i]->opens(), static_cast<int>(i) == opened) << "device " << i;
        }
    }
}

TEST_F(Transport, FindsSerialNumbersOfEveryScriptAndRaisesOnWhatIsNotUnicode)
{
    const std::pair<std::wstring, std::string> texts[]{
        {L"\x7F\x80", "\x7F\xC2\x80"}, // the last of one byte, the first of two, ...
        {L"\u07FF\u0800", "\xDF\xBF\xE0\xA0\x80"},
        {L"\uD7FF\uE000", "\xED\x9F\xBF\xEE\x80\x80"},
        {L"\uFFFF\U00010000", "\xEF\xBF\xBF\xF0\x90\x80\x80"},
        {L"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
    };
    fake_hid::attach({.path = "first", .serial = L"B2"});
    for (const auto& [wide, utf8] : texts) {
        fake_hid::attach({.serial = wide});
        EXPECT_TRUE(TarvixAsyncSDK().connectWithSerialNumber(utf8)) << utf8;
    }
    for (const int foreign : {0xD800, 0xDFFF, 0x110000, -1}) {
        fake_hid::bus().devices.resize(1);
        fake_hid::attach({.serial = std::wstring(1, static_cast<wchar_t>(foreign))});
        TarvixAsyncSDK sdk;
        EXPECT_THROW(sdk.connectWithSerialNumber("nowhere"), std::range_error) << foreign;
        EXPECT_FALSE(sdk.isConnected());
        EXPECT_TRUE(sdk.connectWithSerialNumber("B2")) << "the match comes before what cannot be read";
    }
}

TEST_F(Transport, SessionsOnSeveralThreadsNeverMeetInHidapi)
{
    for (int i = 0; i < 3; ++i) {
        fake_hid::attach({"/dev/hidraw" + std::to_string(i)});
    }
    fake_hid::bus().lingers = true;
    for (std::vector<std::jthread> threads; threads.size() < 3;) {
        threads.emplace_back([i = threads.size()] {
            TarvixAsyncSDK sdk;
            const std::string path = "/dev/hidraw" + std::to_string(i);
            EXPECT_TRUE(i == 0 ? sdk.connect(path) : bool(sdk.open({.path = path, .exclusive = false})));
            EXPECT_EQ(listAdapters().size(), 3U);
        });
    }
    EXPECT_EQ(fake_hid::bus().overlaps, 0);
    EXPECT_EQ(fake_hid::bus().inits, 3);
    EXPECT_EQ(fake_hid::bus().exits, 3) << "once for each session";
}

// The rest is tried with both report sizes.
class Reports : public Transport, public testing::WithParamInterface<std::uint16_t> {
protected:
    Reports()
    {
        device = fake_hid::attach({.productId = GetParam()});
        size = device->reportSize();
        capacity = size - 2;
        sdk.onResponse([this](const Bytes& frame) { received.add(frame); });
        EXPECT_TRUE(sdk.connect(""));
    }

    Received<Bytes> received; // outlives the session, whose reader adds to it
    std::shared_ptr<fake_hid::Device> device;
    std::size_t size = 0;
    std::size_t capacity = 0;
    TarvixAsyncSDK sdk;
};

INSTANTIATE_TEST_SUITE_P(BothSizes, Reports, testing::Values(fake_hid::SMALL_REPORTS, fake_hid::LARGE_REPORTS));

TEST_P(Reports, WritesOnePaddedReportForAShortFrame)
{
    EXPECT_EQ(sdk.resetDevice(7), StatusCode::SUCCESS);
    EXPECT_EQ(device->reports(), std::vector<Bytes>{padded(hex("00 13 00 07 00 01 04"), size + 1)});
}

// Behind a short report stand bytes of the one before; the header says how many count.
TEST_P(Reports, AShortReportHoldsTheRestOfTheOneBefore)
{
    device->deliverFrame(counting(capacity));
    device->deliverReport({0x0B, 0x00, 0x31});
    EXPECT_EQ(received.atLeast(2), (std::vector<Bytes>{counting(capacity), {0x31, 2}}));
}

TEST_P(Reports, EveryFrameReachesOneHandlerWhileHandlersAreReplaced)
{
    constexpr int FRAMES = 200;
    std::atomic<int> calls = 0;
    const auto count = [&](const Bytes&) { ++calls; };
    sdk.onResponse([&](const Bytes&) {
        ++calls;
        sdk.onResponse(count); // from inside itself
    });
    for (int i = 0; i < FRAMES; ++i) {
        device->deliverFrame({0, 1});
        sdk.onResponse(count);
    }
    EXPECT_TRUE(device->settle());
    EXPECT_EQ(calls, FRAMES);

    sdk.onResponse(nullptr);
    device->deliverFrame({4, 1});
    EXPECT_TRUE(device->settle());
    sdk.onResponse([this](const Bytes& frame) { received.add(frame); });
    device->deliverFrame({4, 2});
    EXPECT_EQ(received.atLeast(1), (std::vector<Bytes>{{4, 2}}));
    EXPECT_EQ(calls, FRAMES);
}

TEST_P(Reports, NoHandlerRunsOnceTheSessionHasEnded)
{
    std::atomic<bool> stop = false;
    std::thread stream([&] {
        while (!stop) {
            device->deliverFrame({0, 0, 0x81, 0x10});
            std::this_thread::sleep_for(100us);
        }
    });
    for (int i = 0; i < 5; ++i) {
        Received<bool> afterTheEnd;
        std::atomic<bool> ended = false;
        auto session = std::make_unique<TarvixAsyncSDK>();
        session->onResponse([&](const Bytes&) { afterTheEnd.add(ended); });
        ASSERT_TRUE(session->connect(""));
        afterTheEnd.atLeast(3);
        if (i % 2 == 0) {
            session->disconnect();
        } else {
            session.reset();
        }
        ended = true;
        session.reset();
        EXPECT_EQ(device->closes(), i + 1);
        const std::vector<bool> all = afterTheEnd.atLeast(3);
        EXPECT_EQ(std::count(all.begin(), all.end(), true), 0);
    }
    stop = true;
    stream.join();
}

TEST_P(Reports, FailingReadsAndWritesNeverOverlap)
{
    std::atomic<bool> stop = false;
    std::thread sender([&] {
        while (!stop) {
            sdk.resetDevice(1);
        }
    });
    for (int i = 0; i < 6; ++i) {
        device->unplug();
        const int failed = device->failedReads();
        EXPECT_TRUE(device->waitUntil([&](const auto& d) { return d.failedReads() > failed + 3; }));
        device->replug();
        device->failWrites(i % 2 == 0); // reads succeed and writes fail: a deaf adapter
        const int reads = device->reads();
        EXPECT_TRUE(device->waitUntil([&](const auto& d) { return d.reads() > reads + 3; }));
        device->failWrites(false);
        device->forget();
    }
    stop = true;
    sender.join();
    EXPECT_EQ(device->overlaps(), 0);
}

} // namespace
