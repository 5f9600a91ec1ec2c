// Finding and opening an adapter, reports and segments, the reader thread, faults and unplugging: through the
// asynchronous class of the shipped library, with hidapi replaced.
#include <atomic>
#include <ctime>
#include <numeric>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "support/received.hpp"
#include "tarvixsdk/async_sdk.hpp"

namespace {

using fake_hid::Bytes;
using namespace std::chrono_literals;

Bytes counting(std::size_t size)
{
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

Bytes concat(Bytes first, const Bytes& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes padded(Bytes bytes, std::size_t size)
{
    bytes.resize(size);
    return bytes;
}

class Transport : public testing::Test {
protected:
    Transport() { fake_hid::reset(); }
    ~Transport() override { EXPECT_EQ(fake_hid::bus().enumerations, 0) << "an enumeration was not freed"; }
};

struct OpenCase {
    const char* what;
    std::string path;
    std::string serial;
    int opened; // index of the device that must be open, -1 for none
};

TEST_F(Transport, OpensTheFirstDeviceThatPassesTheFilters)
{
    using fake_hid::Entry;
    const std::vector<Entry> entries{
        {"/dev/hidraw0", 0x046D, 0xC077, L"B2"},                         // somebody's mouse, same serial number
        {"/dev/hidraw1", 0x1FC9, 0x82FE, L"B2"},                         // right vendor, unknown product
        {"/dev/hidraw8", 0x046D, fake_hid::SMALL_REPORTS, L"B2"},        // right product, another vendor
        {"/dev/hidraw2", 0x1FC9, fake_hid::SMALL_REPORTS, std::nullopt}, // reports no serial number
        {"/dev/hidraw3", 0x1FC9, fake_hid::LARGE_REPORTS, L"B2"},        //
        {"/dev/hidraw4", 0x1FC9, fake_hid::SMALL_REPORTS, L"B2"},        // a clone
        {"/dev/hidraw5", 0x1FC9, fake_hid::SMALL_REPORTS, L"\u00e9\u20ac\U0001F50C"}, // 2, 3 and 4 bytes of UTF-8
        {"/dev/hidraw6", 0x1FC9, fake_hid::SMALL_REPORTS, L"NOPERM", false},          // cannot be opened
    };
    const OpenCase cases[]{
        {"no filter: the first supported one", "", "", 3},
        {"by path", "/dev/hidraw4", "", 5},
        {"by path, unsupported vendor", "/dev/hidraw0", "", -1},
        {"by path, another vendor's product", "/dev/hidraw8", "", -1},
        {"by path, unsupported product", "/dev/hidraw1", "", -1},
        {"by path, prefix of one", "/dev/hidraw", "", -1},
        {"by serial number: the first with it", "", "B2", 4},
        {"by serial number, prefix of one", "", "B", -1},
        {"by serial number beyond ASCII", "", "\u00e9\u20ac\U0001F50C", 6},
        {"found but not to be opened", "", "NOPERM", -1},
    };
    for (const OpenCase& test : cases) {
        SCOPED_TRACE(test.what);
        fake_hid::reset();
        for (const Entry& entry : entries) {
            fake_hid::attach(entry);
        }
        TarvixAsyncSDK sdk;
        const bool connected = test.serial.empty() ? sdk.connect(test.path) : sdk.connectWithSerialNumber(test.serial);
        EXPECT_EQ(connected, test.opened >= 0);
        EXPECT_EQ(sdk.isConnected(), connected);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            EXPECT_EQ(fake_hid::bus().devices[i]->opens(), static_cast<int>(i) == test.opened ? 1 : 0)
                << "device " << i;
        }
    }

    // Past every match stands one that is not Unicode.
    fake_hid::attach({"/dev/hidraw7", 0x046D, 0xC077, std::wstring{wchar_t{0xD800}}});
    TarvixAsyncSDK sdk;
    EXPECT_TRUE(sdk.connectWithSerialNumber("B2"));
    sdk.disconnect();
    try {
        sdk.connectWithSerialNumber("nowhere");
        ADD_FAILURE() << "expected an exception";
    } catch (const std::range_error& error) {
        EXPECT_STREQ(error.what(), "bad conversion");
    }
    EXPECT_FALSE(sdk.isConnected());
}

TEST_F(Transport, KeepsTheOpenDeviceUntilDisconnected)
{
    const auto first = fake_hid::attach({"/dev/hidraw0"});
    const auto second = fake_hid::attach({"/dev/hidraw1"});
    TarvixAsyncSDK sdk;
    EXPECT_FALSE(sdk.connect("/dev/hidraw9"));
    ASSERT_TRUE(sdk.connect(""));
    EXPECT_TRUE(sdk.connect("/dev/hidraw1"));
    EXPECT_TRUE(sdk.connectWithSerialNumber("nowhere"));
    EXPECT_EQ(first->opens(), 1);
    EXPECT_EQ(second->opens(), 0);

    first->unplug();
    EXPECT_TRUE(sdk.isConnected()) << "an unplugged adapter stays connected until disconnect";
    sdk.disconnect();
    sdk.disconnect();
    EXPECT_FALSE(sdk.isConnected());
    EXPECT_EQ(first->closes(), 1);
    EXPECT_TRUE(sdk.connect("/dev/hidraw1"));
    EXPECT_EQ(second->opens(), 1);
}

TEST_F(Transport, InitialisesHidapiOncePerSession)
{
    {
        const TarvixAsyncSDK one;
        {
            const TarvixAsyncSDK two;
            EXPECT_EQ(fake_hid::bus().inits, 2);
        }
        EXPECT_EQ(fake_hid::bus().exits, 1) << "also while another session is open";
    }
    EXPECT_EQ(fake_hid::bus().exits, 2);
}

TEST_F(Transport, SaysItsVersionWithoutADevice)
{
    EXPECT_EQ(TarvixAsyncSDK::getVersion(), "1.3.0");
}

// The rest is tried with both report sizes.
class Reports : public Transport, public testing::WithParamInterface<std::uint16_t> {
protected:
    Reports()
    {
        fake_hid::Entry entry;
        entry.productId = GetParam();
        device = fake_hid::attach(entry);
        size = device->reportSize();
        capacity = size - 2;
        sdk.onResponse([this](const Bytes& frame) { received.add(frame); });
        EXPECT_TRUE(sdk.connect(""));
    }

    // A report as the library must write it: report ID, header, bytes, zeros.
    Bytes output(unsigned header, const Bytes& bytes) const
    {
        return padded(concat({0, static_cast<std::uint8_t>(header), static_cast<std::uint8_t>(header >> 8)}, bytes),
                      size + 1);
    }

    Bytes input(unsigned header, const Bytes& bytes) const
    {
        return padded(concat({static_cast<std::uint8_t>(header), static_cast<std::uint8_t>(header >> 8)}, bytes), size);
    }

    // Sends a frame that frameOf made.
    void sendFrame(const Bytes& frame)
    {
        const Bytes message(frame.begin() + 6, frame.end());
        ASSERT_EQ(sdk.uartSendMessage(0x0201, message), StatusCode::SUCCESS);
    }

    // A frame of any length from 6: a UART message of size - 6 bytes, which has no other bounds.
    static Bytes frameOf(std::size_t size)
    {
        const std::size_t count = size - 6;
        return concat({0x01, 0x02, 0x05, 0x10, static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(count >> 8)},
                      counting(count));
    }

    Received<Bytes> received; // outlives the session, whose reader adds to it
    std::shared_ptr<fake_hid::Device> device;
    std::size_t size = 0;
    std::size_t capacity = 0;
    TarvixAsyncSDK sdk;
};

std::string reportSizeName(const testing::TestParamInfo<std::uint16_t>& info)
{
    return info.param == fake_hid::LARGE_REPORTS ? "Of1024" : "Of64";
}

INSTANTIATE_TEST_SUITE_P(BothSizes, Reports, testing::Values(fake_hid::SMALL_REPORTS, fake_hid::LARGE_REPORTS),
                         reportSizeName);

TEST_P(Reports, WritesOnePaddedReportForAShortFrame)
{
    EXPECT_EQ(sdk.resetDevice(7), StatusCode::SUCCESS);
    EXPECT_EQ(device->reports(), std::vector<Bytes>{output(0x0013, {0x07, 0x00, 0x01, 0x04})});
}

TEST_P(Reports, CutsFramesAtTheCapacityOfAReport)
{
    const unsigned full = static_cast<unsigned>(capacity) << 2; // F8 00 for 64 bytes, F8 0F for 1024
    const Bytes exact = frameOf(capacity);
    const Bytes oneMore = frameOf(capacity + 1);
    const Bytes three = frameOf(2 * capacity + 3);
    const auto part = [&](const Bytes& frame, std::size_t index) {
        const std::size_t begin = index * capacity;
        const std::size_t end = std::min(frame.size(), begin + capacity);
        return Bytes(frame.begin() + static_cast<std::ptrdiff_t>(begin),
                     frame.begin() + static_cast<std::ptrdiff_t>(end));
    };
    const struct {
        Bytes frame;
        std::vector<Bytes> reports;
    } cases[]{
        {frameOf(capacity - 1), {output((full - 4) | 3, frameOf(capacity - 1))}},
        {exact, {output(full | 3, exact)}},
        {oneMore, {output(full | 1, part(oneMore, 0)), output(0x0006, part(oneMore, 1))}},
        {three, {output(full | 1, part(three, 0)), output(full, part(three, 1)), output(0x000E, part(three, 2))}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.frame.size());
        device->forget();
        sendFrame(test.frame);
        EXPECT_EQ(device->reports(), test.reports);
    }
    if (size == 64) { // the two headers once more as plain bytes
        device->forget();
        sendFrame(frameOf(62));
        sendFrame(frameOf(63));
        const auto reports = device->reports();
        ASSERT_EQ(reports.size(), 3U);
        EXPECT_EQ(Bytes(reports[0].begin(), reports[0].begin() + 3), (Bytes{0x00, 0xFB, 0x00}));
        EXPECT_EQ(Bytes(reports[1].begin(), reports[1].begin() + 3), (Bytes{0x00, 0xF9, 0x00}));
        EXPECT_EQ(Bytes(reports[2].begin(), reports[2].begin() + 3), (Bytes{0x00, 0x06, 0x00}));
    }
}

TEST_P(Reports, JoinsSegmentsIntoFrames)
{
    const unsigned full = static_cast<unsigned>(capacity) << 2;
    const Bytes whole = counting(capacity);
    const struct {
        const char* what;
        std::vector<Bytes> reports;
        Bytes frame;
    } cases[]{
        {"empty", {input(0x0003, {})}, {}},
        {"one byte", {input(0x0007, {0xAA})}, {0xAA}},
        {"exactly one report", {input(full | 3, whole)}, whole},
        {"one byte more", {input(full | 1, whole), input(0x0006, {0xBB})}, concat(whole, {0xBB})},
        {"three segments",
         {input(full | 1, whole), input(full, whole), input(0x000A, {1, 2})},
         concat(concat(whole, whole), {1, 2})},
        {"short segments, then an empty last one", {input(0x0005, {9}), input(0x0004, {8}), input(0x0002, {})}, {9, 8}},
        {"a first segment starts afresh", {input(0x0005, {9}), input(0x0007, {7})}, {7}},
        {"a continuation adds to what was delivered", {input(0x0006, {6})}, {7, 6}},
        {"upper header bits are ignored", {input(0xF007, {5})}, {5}},
    };
    std::size_t count = 0;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        for (const Bytes& report : test.reports) {
            device->deliverReport(report);
        }
        const auto frames = received.atLeast(++count);
        ASSERT_EQ(frames.size(), count);
        EXPECT_EQ(frames.back(), test.frame);
    }
}

TEST_P(Reports, NeverReadsPastAReportWhateverItsHeaderSays)
{
    const Bytes whole = counting(capacity);
    device->deliverReport(input(0x0FFF, whole)); // 1023 bytes announced
    EXPECT_EQ(received.atLeast(1).back(), whole);

    // Behind a short report stand bytes of the one before; the header says how many count.
    device->deliverReport({0x0B, 0x00, 0x31});
    EXPECT_EQ(received.atLeast(2).back(), (Bytes{0x31, 2}));
}

TEST_P(Reports, DropsAnEndlessFrameAndRecoversWithTheNext)
{
    const unsigned full = static_cast<unsigned>(capacity) << 2;
    const std::size_t ceiling = std::size_t{128} * 1024;
    device->deliverReport(input(full | 1, counting(capacity)));
    for (std::size_t sent = capacity; sent <= ceiling; sent += capacity) {
        device->deliverReport(input(full, counting(capacity)));
    }
    device->deliverReport(input(0x0006, {1})); // would be the end of the frame that was dropped
    device->deliverReport(input(0x0007, {2}));
    EXPECT_EQ(received.atLeast(1), std::vector<Bytes>{Bytes{2}});
}

TEST_P(Reports, CarriesTheLongestFramesBothWays)
{
    const Bytes frame = frameOf(65535 + 6);
    device->onFrame([this](const Bytes& request) { device->deliverFrame(request); });
    sendFrame(frame);
    EXPECT_EQ(device->frames(), std::vector<Bytes>{frame});
    EXPECT_EQ(received.atLeast(1), std::vector<Bytes>{frame});
}

TEST_P(Reports, SucceedsWhateverTheWritesReport)
{
    device->failWrites(true);
    EXPECT_EQ(sdk.resetDevice(1), StatusCode::SUCCESS);
    EXPECT_TRUE(device->reports().empty());
    device->failWrites(false);
    EXPECT_EQ(sdk.resetDevice(2), StatusCode::SUCCESS);
    EXPECT_EQ(device->frames(), (std::vector<Bytes>{{0x02, 0x00, 0x01, 0x04}}));
}

TEST_P(Reports, HandlersMayBeReplacedWhileFramesArrive)
{
    std::atomic<int> calls = 0;
    sdk.onResponse([&](const Bytes&) {
        ++calls;
        sdk.onResponse([&](const Bytes&) { ++calls; }); // from inside itself
    });
    for (int i = 0; i < 200; ++i) {
        device->deliverFrame({0, 1});
        sdk.onResponse([&](const Bytes&) { ++calls; });
    }
    sdk.onResponse(nullptr);
    sdk.onResponse([this](const Bytes& frame) { received.add(frame); });
    device->deliverFrame({4, 2});
    while (received.atLeast(1).back() != Bytes{4, 2}) {
    }
    EXPECT_LE(calls, 200);
}

TEST_P(Reports, DisconnectingFromAHandlerIsRefused)
{
    Received<std::error_code> refused;
    sdk.onResponse([&](const Bytes&) {
        try {
            sdk.disconnect();
        } catch (const std::system_error& error) {
            refused.add(error.code());
        }
    });
    device->deliverFrame({1, 0});
    EXPECT_EQ(refused.atLeast(1), std::vector{std::make_error_code(std::errc::resource_deadlock_would_occur)});
    sdk.disconnect();
    EXPECT_EQ(device->closes(), 1);
}

TEST_P(Reports, DisconnectsAndDestructsWhileFramesStreamIn)
{
    std::atomic<bool> stop = false;
    std::thread stream([&] {
        while (!stop) {
            device->deliverFrame({0, 0, 0x81, 0x10});
            std::this_thread::sleep_for(100us);
        }
    });
    for (int i = 0; i < 5; ++i) {
        auto session = std::make_unique<TarvixAsyncSDK>();
        Received<Bytes> frames;
        session->onResponse([&](const Bytes& frame) { frames.add(frame); });
        ASSERT_TRUE(session->connect(""));
        frames.atLeast(3);
        if (i % 2 == 0) {
            session->disconnect();
        }
        session.reset();
        const std::size_t count = frames.size();
        EXPECT_EQ(frames.size(), count) << "a handler ran after the session had ended";
    }
    stop = true;
    stream.join();
}

double processSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

TEST_P(Reports, WaitsPatientlyForAnUnpluggedDevice)
{
    device->unplug();
    // Until the pauses have grown to their full length.
    ASSERT_TRUE(device->waitUntil([](const auto& d) { return d.failedReads() >= 8; }));
    const auto begin = std::chrono::steady_clock::now();
    const double cpu = processSeconds();
    const int reads = device->failedReads();
    ASSERT_TRUE(device->waitUntil([&](const auto& d) { return d.failedReads() >= reads + 10; }));
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(wall.count(), 0.9) << "the reader tries again too often";
    EXPECT_LT((processSeconds() - cpu) / wall.count(), 0.01) << "share of one core spent on waiting";

    const auto closing = std::chrono::steady_clock::now();
    sdk.disconnect();
    EXPECT_LT(std::chrono::steady_clock::now() - closing, 200ms) << "the pause holds up disconnect";

    device->replug();
    ASSERT_TRUE(sdk.connect(""));
    device->deliverFrame({3, 0});
    EXPECT_EQ(received.atLeast(1), std::vector<Bytes>{(Bytes{3, 0})});
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
