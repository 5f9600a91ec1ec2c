// Sessions of the flat interface: opening with a reason, the list of adapters, callbacks with a context, the queue of
// notifications.
#include <cstring>
#include <string>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

#include "support/adapter.hpp"
#include "support/received.hpp"

namespace {

class FlatSession : public FlatAdapter {
protected:
    OpenStatus open(std::uint32_t flags = 0) { return TarvixSDK_Open(handle, nullptr, "", flags, nullptr); }

    // A notification of `size` bytes that carries `mark`.
    void notify(std::uint8_t mark, std::size_t size = 7)
    {
        device->deliverFrame(padded(hex("00 00 81 10 00 00") + Bytes{mark}, size));
    }

    // The mark and the size of the next notification, or the status instead.
    std::string next(std::size_t capacity = 1024, int timeout = 0)
    {
        Bytes buffer(capacity);
        std::size_t length = 0;
        const StatusCode status =
            TarvixSDK_NextNotification(handle, capacity == 0 ? nullptr : buffer.data(), capacity, &length, timeout);
        if (status != StatusCode::SUCCESS) {
            return TarvixSDK_StatusName(status) + (length == 0 ? "" : ": " + std::to_string(length));
        }
        return std::to_string(buffer.at(6)) + " of " + std::to_string(length);
    }
};

TEST_F(FlatSession, OpensAsItsFlagsSayAndTellsWhyNot)
{
    const TemporaryFile node;
    ASSERT_EQ(::flock(::fileno(node.file.get()), LOCK_EX), 0); // as another session does
    fake_hid::reset();
    device = fake_hid::attach({.path = node.path, .serial = L"A1"});
    device->onFrame([this](const Bytes& request) { // the answer is another request's
        device->deliverFrame({99, 0, request[2], request[3], 0, 0});
    });
    for (const std::uint32_t flags : {0U, 1U, 2U, 3U}) {
        SCOPED_TRACE(flags);
        const bool shared = (flags & TARVIXSDK_OPEN_SHARED) != 0;
        const bool plain = (flags & TARVIXSDK_OPEN_PLAIN) != 0;
        TarvixSDK_Handle* const other = TarvixSDK_Create(plain ? LONG_ENOUGH : 1);
        TarvixSDK_OpenResult result;
        EXPECT_EQ(TarvixSDK_Open(other, nullptr, nullptr, flags, &result), result.status);
        EXPECT_EQ(result.status, shared ? OpenStatus::OPENED : OpenStatus::IN_USE);
        EXPECT_EQ(result.holder, shared ? 0 : ::getpid());
        EXPECT_EQ(result.path, node.path);
        EXPECT_NE(std::strstr(result.message, result.path), nullptr) << result.message;
        EXPECT_EQ(TarvixSDK_IsConnected(other), shared);
        if (shared) {
            EXPECT_EQ(TarvixSDK_UartDeinit(other), plain ? StatusCode::SUCCESS : StatusCode::NO_RESPONSE);
        }
        TarvixSDK_Destroy(other);
    }
    ::flock(::fileno(node.file.get()), LOCK_UN);
    EXPECT_EQ(TarvixSDK_Open(handle, nullptr, "B2", 0, nullptr), OpenStatus::NO_ADAPTER);
    EXPECT_EQ(TarvixSDK_Open(handle, node.path.c_str(), "A1", 0, nullptr), OpenStatus::OPENED);
}

TEST_F(FlatSession, CutsLongTextsBetweenCharacters)
{
    std::string path;
    for (int i = 0; i < 300; ++i) {
        path += "\u00e9";
    }
    fake_hid::reset();
    fake_hid::attach({.path = path, .openable = false});
    TarvixSDK_OpenResult result;
    EXPECT_EQ(TarvixSDK_Open(handle, path.c_str(), nullptr, 0, &result), OpenStatus::FAILED);
    EXPECT_EQ(result.path, path.substr(0, 254));
    EXPECT_EQ(result.message, ("cannot open " + path).substr(0, 510));
}

TEST_F(FlatSession, ListsAdaptersInRecordsOfTheirOwn)
{
    fake_hid::attach({.path = "b", .productId = fake_hid::LARGE_REPORTS, .serial = std::nullopt});
    TarvixSDK_AdapterInfo* list = nullptr;
    EXPECT_EQ(TarvixSDK_ListAdapters(nullptr), 2U);
    ASSERT_EQ(TarvixSDK_ListAdapters(&list), 2U);
    const auto shown = [&](std::size_t i) {
        const auto& it = list[i];
        return std::string(it.path) + "|" + it.serialNumber + "|" + it.manufacturer + it.product + it.usbPort + "|" +
               std::to_string(it.vendorId) + " " + std::to_string(it.productId) + " " + std::to_string(it.reportSize);
    };
    EXPECT_EQ(shown(0), "no file: nothing to lock|TVX0000001||8137 33532 64");
    EXPECT_EQ(shown(1), "b|||8137 33533 1024");
    TarvixSDK_FreeAdapters(list);
    fake_hid::reset();
    EXPECT_EQ(TarvixSDK_ListAdapters(&list), 0U);
    EXPECT_EQ(list, nullptr);
    TarvixSDK_FreeAdapters(nullptr);
    EXPECT_EQ(TarvixSDK_StatusName(StatusCode{0x0102}), nullptr);
}

TEST_F(FlatSession, CallbacksGetTheirContextAndWholeFrames)
{
    Received<Bytes> first, second;
    Received<int> losses;
    const TarvixSDK_FrameCallback keep = [](void* context, const std::uint8_t* frame, std::size_t length) {
        static_cast<Received<Bytes>*>(context)->add({frame, frame + length});
    };
    TarvixSDK_OnConnectionLost(
        handle, [](void* context) { static_cast<Received<int>*>(context)->add(1); }, &losses);
    TarvixSDK_OnNotificationFrame(handle, keep, &first);
    ASSERT_EQ(open(), OpenStatus::OPENED);
    notify(0x12, 300);
    ASSERT_EQ(first.atLeast(1).size(), 1U);
    EXPECT_EQ(first.atLeast(1)[0], padded(hex("00 00 81 10 00 00 12"), 300));
    TarvixSDK_OnNotificationFrame(handle, keep, &second);
    notify(2);
    ASSERT_EQ(second.atLeast(1).size(), 1U);
    TarvixSDK_OnNotificationFrame(handle, nullptr, &second);
    notify(3);
    ASSERT_TRUE(device->settle());
    device->unplug();
    ASSERT_EQ(losses.atLeast(1).size(), 1U);
    EXPECT_FALSE(TarvixSDK_IsConnected(handle));
    EXPECT_EQ(first.size() + second.size(), 2U);

    TarvixSDK_OnConnectionLost(handle, nullptr, nullptr);
    device->replug();
    ASSERT_EQ(open(), OpenStatus::OPENED);
    device->unplug();
    EXPECT_EQ(next(1, FOREVER), "ADAPTER_LOST");
    EXPECT_EQ(losses.size(), 1U);
}

// The reader thread may still be busy with the loss.
TEST_F(FlatSession, AHandleMayGoTheMomentItsAdapterIsLost)
{
    for (int i = 0; i < 5; ++i) {
        TarvixSDK_Handle* const brief = TarvixSDK_Create(0);
        ASSERT_EQ(TarvixSDK_Open(brief, nullptr, nullptr, 0, nullptr), OpenStatus::OPENED);
        device->unplug();
        while (TarvixSDK_IsConnected(brief)) {
            std::this_thread::yield();
        }
        TarvixSDK_Destroy(brief);
        device->replug();
    }
}

TEST_F(FlatSession, NotificationsAreFetchedInOrderAndWhole)
{
    EXPECT_EQ(next(8, FOREVER), "NOT_CONNECTED");
    for (const bool plain : {true, false}) {
        ASSERT_TRUE(plain ? TarvixSDK_Connect(handle, nullptr) : open() == OpenStatus::OPENED);
        notify(1, 300);
        notify(2);
        EXPECT_EQ(next(299, FOREVER), "INVALID_ARGUMENT: 300") << "stays";
        EXPECT_EQ(next(0), "INVALID_ARGUMENT: 300");
        EXPECT_EQ(next(300), "1 of 300");
        EXPECT_EQ(next(8, LONG_ENOUGH), "2 of 7");
        for (const int timeout : {0, 1, -2}) {
            EXPECT_EQ(next(8, timeout), "NO_RESPONSE");
        }
        TarvixSDK_Disconnect(handle);
    }
    std::size_t length = 0;
    EXPECT_EQ(TarvixSDK_NextNotification(handle, nullptr, 1, &length, 0), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(TarvixSDK_NextNotification(handle, nullptr, 0, nullptr, 0), StatusCode::INVALID_ARGUMENT);
}

TEST_F(FlatSession, TheQueueEndsWithTheSessionAndBeginsEmpty)
{
    ASSERT_EQ(open(), OpenStatus::OPENED);
    std::thread fetcher([this] { EXPECT_EQ(next(8, FOREVER), "NOT_CONNECTED"); });
    TarvixSDK_Disconnect(handle);
    fetcher.join();

    ASSERT_EQ(open(), OpenStatus::OPENED);
    fetcher = std::thread([this] { EXPECT_EQ(next(8, FOREVER), "ADAPTER_LOST"); });
    device->unplug();
    fetcher.join();

    device->replug();
    ASSERT_EQ(open(), OpenStatus::OPENED);
    notify(1);
    notify(2);
    ASSERT_TRUE(device->settle());
    TarvixSDK_Disconnect(handle);
    EXPECT_EQ(next(), "1 of 7") << "what came before the end can still be fetched";
    EXPECT_EQ(TarvixSDK_Open(handle, "other", nullptr, 0, nullptr), OpenStatus::NO_ADAPTER);
    EXPECT_EQ(next(8, FOREVER), "2 of 7") << "and is not lost when nothing opens";
    EXPECT_EQ(next(8, FOREVER), "NOT_CONNECTED");

    ASSERT_EQ(open(), OpenStatus::OPENED);
    notify(3);
    ASSERT_TRUE(device->settle());
    TarvixSDK_Disconnect(handle);
    ASSERT_EQ(open(), OpenStatus::OPENED);
    notify(4);
    EXPECT_EQ(next(8, FOREVER), "4 of 7");
}

TEST_F(FlatSession, BeyondItsBoundsTheQueueDropsTheOldest)
{
    const struct {
        std::size_t count;
        std::size_t size;
        std::size_t dropped;
    } cases[]{{258, 7, 2}, {20, 64 * 1024, 4}};
    std::size_t dropped = 0;
    for (const auto& test : cases) {
        ASSERT_EQ(open(), OpenStatus::OPENED);
        for (std::size_t number = 0; number < test.count; ++number) {
            notify(static_cast<std::uint8_t>(number), test.size);
        }
        ASSERT_TRUE(device->settle());
        dropped += test.dropped;
        EXPECT_EQ(TarvixSDK_DroppedNotifications(handle), dropped);
        TarvixSDK_Disconnect(handle);
        for (std::size_t number = test.dropped; number < test.count; ++number) {
            ASSERT_EQ(next(test.size), std::to_string(number % 256) + " of " + std::to_string(test.size));
        }
        EXPECT_EQ(next(test.size), "NOT_CONNECTED");
    }
}

// Holds the requests back until `inFlight` of them wait, then answers the newest first.
TEST_F(FlatSession, I2cTransfersGoOutTogetherAndComeBackInTheirOrder)
{
    const Bytes page{1, 2, 3};
    Bytes word(2), byte(1), untouched(1, 9);
    size_t completed = 99;
    const TarvixSDK_I2cTransfer transfers[]{
        {page.data(), nullptr, 3, 0x51, 2, {0x12, 0x34}, true},
        {nullptr, word.data(), 2, 0x48, 1, {7}, false},
        {nullptr, nullptr, 0, 0x30, 0, {}, false},
        {nullptr, byte.data(), 1, 0x49, 0, {}, true},
        {nullptr, untouched.data(), 1, 0x4A, 0, {}, false},
    };
    const auto run = [&](size_t count, size_t inFlight) {
        return TarvixSDK_I2cTransfers(handle, 1, transfers, count, inFlight, &completed);
    };
    EXPECT_EQ(run(4, 4), StatusCode::NOT_CONNECTED);
    ASSERT_EQ(open(), OpenStatus::OPENED);
    std::vector<Bytes> waiting;
    const std::vector<Bytes> payloads{{}, {0, 0, 0, 0x17, 0x80}, {}, {0, 0, 0, 0x2A}, {0, 0, 0}};
    device->onFrame([&](const Bytes& request) {
        waiting.push_back(request);
        if (waiting.size() == 4) {
            for (size_t i = 4; i-- > 0;) {
                device->deliverFrame(answerTo(waiting[i], Bytes{0, 0} + payloads[i]));
            }
        }
    });
    EXPECT_EQ(run(4, 4), StatusCode::SUCCESS);
    EXPECT_EQ(completed, 4U);
    EXPECT_EQ(hexOf(word + byte), "17 80 2A");
    const char* const expected[]{"04 09 01 03 00 51 02 34 12 00 00 01 01 02 03", "05 09 01 02 00 48 01 07 00 00 00 00",
                                 "04 09 01 00 00 30 00 00 00 00 00 00", "05 09 01 01 00 49 00 00 00 00 00 01"};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(hexOf(part(waiting[i], 2, waiting[i].size())), expected[i]);
    }
    device->onFrame([&](const Bytes& request) { // no target at 0x30; too little from 0x4A
        const Bytes status = request.at(7) == 0x30 ? Bytes{1, 3} : Bytes{0, 0};
        device->deliverFrame(answerTo(request, status + Bytes{0, 0, 0, 1, 2}));
    });
    EXPECT_EQ(run(5, 1), static_cast<StatusCode>(0x0301));
    EXPECT_EQ(completed, 2U);
    answer("00 00 00 00 00");
    EXPECT_EQ(TarvixSDK_I2cTransfers(handle, 0, transfers + 4, 1, 1, nullptr), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(untouched.front(), 9);

    device->forget();
    TarvixSDK_I2cTransfer wrong[]{transfers[0], transfers[0], transfers[0]};
    wrong[0].readData = word.data();
    wrong[1].writeData = nullptr;
    wrong[2].registerAddressLength = 5;
    for (const TarvixSDK_I2cTransfer& each : wrong) {
        const TarvixSDK_I2cTransfer both[]{transfers[0], each};
        EXPECT_EQ(TarvixSDK_I2cTransfers(handle, 0, both, 2, 1, nullptr), StatusCode::INVALID_ARGUMENT);
    }
    EXPECT_EQ(TarvixSDK_I2cTransfers(handle, 0, nullptr, 1, 1, nullptr), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(run(5, 64), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(run(0, 1), StatusCode::SUCCESS);
    EXPECT_TRUE(device->frames().empty());
}

} // namespace
