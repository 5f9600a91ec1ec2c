// Forked children: a session belongs to the process that opened it.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "support/adapter.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

// What a child inherits it leaves as it is.
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}
extern "C" const char* __tsan_default_options()
{
    return "atexit_sleep_ms=0";
}

namespace {

constexpr unsigned LIMIT = 60; // s, for a child

// Whether `child`, in a process of its own, ends with exit() and without a failure.
template <typename Child>
bool succeedsInAChild(Child child)
{
    std::fflush(nullptr);
    const pid_t id = ::fork();
    if (id == 0) {
        ::alarm(LIMIT);
        child();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(id, &status, 0), id);
    EXPECT_FALSE(WIFSIGNALED(status)) << strsignal(WTERMSIG(status));
    return status == 0;
}

using Fork = FlatAdapter;

TEST_F(Fork, AChildNeitherUsesNorSpoilsWhatItsParentHasOpen)
{
    const auto other = fake_hid::attach({.path = "other"});
    const auto unplugged = fake_hid::attach({.path = "unplugged"});
    static std::unique_ptr<TarvixAsyncSDK> pausing; // exit() destroys it in the child, too
    pausing = std::make_unique<TarvixAsyncSDK>();
    ASSERT_TRUE(pausing->connect("unplugged"));
    unplugged->unplug();
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.connect("other"));
    ASSERT_EQ(TarvixSDK_Open(handle, device->entry().path.c_str(), nullptr, 0, nullptr), OpenStatus::OPENED);
    TarvixSDK_Handle* const unused = TarvixSDK_Create(LONG_ENOUGH);
    Bytes buffer(64);
    std::size_t length = 0;
    std::thread commanding([&] { EXPECT_EQ(TarvixSDK_UartDeinit(handle), StatusCode::SUCCESS); });
    std::thread waiting([&] { EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS); });
    std::thread fetching([&] {
        EXPECT_EQ(TarvixSDK_NextNotification(handle, buffer.data(), buffer.size(), &length, LONG_ENOUGH),
                  StatusCode::SUCCESS);
    });
    requestArrives();
    ASSERT_TRUE(other->waitUntil([](const auto& it) { return !it.frames().empty(); }));

    const auto child = [&] {
        device->forbid();
        other->forbid();
        unplugged->forbid();
        EXPECT_EQ(TarvixSDK_UartDeinit(handle), StatusCode::NOT_CONNECTED);
        EXPECT_EQ(TarvixSDK_NextNotification(handle, buffer.data(), buffer.size(), &length, FOREVER),
                  StatusCode::NOT_CONNECTED);
        EXPECT_EQ(TarvixSDK_DroppedNotifications(handle), 0U);
        EXPECT_FALSE(TarvixSDK_IsConnected(handle));
        EXPECT_FALSE(TarvixSDK_Connect(handle, nullptr));
        TarvixSDK_OpenResult result;
        EXPECT_EQ(TarvixSDK_Open(handle, nullptr, nullptr, 0, &result), OpenStatus::FAILED);
        EXPECT_STREQ(result.message, "this session belongs to the process that opened it: make a new one");
        EXPECT_EQ(sdk.uartDeinit(), StatusCode::NOT_CONNECTED);
        EXPECT_EQ(sdk.resetDevice(), StatusCode::NOT_CONNECTED);
        EXPECT_EQ(sdk.unmatchedResponses(), 0U);
        EXPECT_EQ(pausing->uartDeinit(1), StatusCode::NOT_CONNECTED);
        TarvixSDK_Disconnect(handle);
        TarvixSDK_Destroy(handle);
        sdk.disconnect();
        pausing->disconnect();
        sdk.~TarvixSDK();

#ifndef __SANITIZE_THREAD__ // which supports no thread in a child of several threads
        fake_hid::reset();
        const auto own = fake_hid::attach();
        own->onFrame([&](const Bytes& request) { own->deliverFrame(answerTo(request, hex("00 00"))); });
        EXPECT_TRUE(TarvixSDK_Connect(unused, nullptr));
        EXPECT_EQ(TarvixSDK_UartDeinit(unused), StatusCode::SUCCESS);
        TarvixSDK_Disconnect(unused);
        EXPECT_FALSE(TarvixSDK_IsConnected(unused));
#endif
    };
    EXPECT_TRUE(succeedsInAChild(child));

    device->deliverFrame(hex("00 00 81 10 00 00"));
    device->deliverFrame(answerTo(device->frames().at(0), hex("00 00")));
    other->deliverFrame(answerTo(other->frames().at(0), hex("00 00")));
    commanding.join();
    waiting.join();
    fetching.join();
    pausing.reset();
    TarvixSDK_Destroy(unused);
}

TEST_F(Fork, AFunctionAnswersNoChild)
{
    OpenOptions options;
    options.answer = [](const Bytes& request) { return answerTo(request, hex("00 00")); };
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open(options));
    EXPECT_TRUE(succeedsInAChild([&] {
        EXPECT_EQ(sdk.uartDeinit(), StatusCode::NOT_CONNECTED);
        EXPECT_EQ(sdk.open(options).status, OpenStatus::FAILED);
        sdk.disconnect();
    }));
    EXPECT_EQ(sdk.uartDeinit(), StatusCode::SUCCESS);
}

TEST_F(Fork, AChildDoesNotHoldTheLock)
{
    const TemporaryFile node;
    fake_hid::reset();
    fake_hid::attach({.path = node.path});
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(TarvixSDK_Open(handle, nullptr, nullptr, 0, nullptr), OpenStatus::OPENED);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[1]);
        char nothing = 0;
        ::_exit(static_cast<int>(::read(ends[0], &nothing, 1)));
    }
    TarvixSDK_Destroy(handle);
    handle = TarvixSDK_Create(LONG_ENOUGH);
    EXPECT_EQ(TarvixSDK_Open(handle, nullptr, nullptr, 0, nullptr), OpenStatus::OPENED);
    ::close(ends[1]);
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
    ::close(ends[0]);
}

TEST_F(Fork, AProcessForksWhileItsThreadsOpenAndClose)
{
    std::atomic<bool> stop = false;
    std::thread opening([&] {
        while (!stop) {
            listAdapters();
        }
    });
    const auto child = [] { EXPECT_EQ(listAdapters().size(), 1U); };
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(succeedsInAChild(child));
    }
    stop = true;
    opening.join();
}

} // namespace
