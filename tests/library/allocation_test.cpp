// What a command costs in the steady state: its own frame, and nothing else. And when memory runs out at any place,
// once or again and again, nothing hangs, leaks, stays locked or ends the program.
#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <system_error>

#include "support/adapter.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

constexpr int NEVER = 1'000'000;

std::atomic<bool> scarce = false;
std::atomic<bool> again = false; // each allocation whose number is a multiple of `nth` fails, not only the first
std::atomic<int> nth = NEVER;
std::atomic<int> number = 0;      // of the last allocation while memory was scarce
std::atomic<int> allocations = 0; // outside the double, on any thread
std::atomic<long> blocks = 0;     // from operator new, not given back

bool fails()
{
    if (fake_hid::isInside()) {
        return false;
    }
    ++allocations;
    if (!scarce) {
        return false;
    }
    const int mine = ++number;
    return again ? mine % nth == 0 : mine == nth;
}

} // namespace

#ifdef TARVIX_SANITIZED // whose allocator stays; only C++ runs out of memory
void* allocate(std::size_t size)
{
    return fails() ? nullptr : std::malloc(size);
}
#else
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size)
{
    return fails() ? nullptr : __libc_malloc(size);
}
void* allocate(std::size_t size)
{
    return std::malloc(size);
}
#endif

[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (void* memory = allocate(size != 0 ? size : 1)) {
        ++blocks;
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    blocks -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

namespace {

template <typename Command>
int cost(Command command)
{
    for (int i = 0; i < 3; ++i) { // until every buffer has its size
        command();
    }
    const int before = allocations;
    command();
    return allocations - before;
}

StatusCode closePort(TarvixAsyncSDK& sdk, TransactionId transactionId, std::size_t)
{
    return sdk.uartDeinit(transactionId);
}

using Allocation = Adapter;

TEST_F(Allocation, ACommandAllocatesItsFrameOnly)
{
    const Bytes registerAddress{1, 2};
    const Bytes data(65535);
    answer(padded(hex("00 00"), 5 + 300));
    for (const bool strict : {false, true}) {
        TarvixSDK sdk(LONG_ENOUGH);
        ASSERT_TRUE(sdk.open({.strict = strict}));
        Bytes read;
        EXPECT_EQ(cost([&] { EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 300, read, false), StatusCode::SUCCESS); }), 1);
        if (strict) { // and a place for each response in flight
            EXPECT_EQ(cost([&] { EXPECT_TRUE(sdk.runInFlight(100, 1, closePort)); }), 100 + 1 + 1);
        }
    }
    TarvixSDK_Handle* const handle = TarvixSDK_Create(LONG_ENOUGH);
    ASSERT_TRUE(TarvixSDK_Connect(handle, ""));
    Bytes bytes(1000); // sent and read in place
    EXPECT_EQ(cost([&] { TarvixSDK_SpiTransfer(handle, bytes.data(), 1000, bytes.data(), 1000); }), 1);
    EXPECT_EQ(cost([&] { TarvixSDK_I2cWrite(handle, 0, 0x50, bytes.data(), 4, bytes.data(), 1000, false); }), 1);
    EXPECT_EQ(cost([&] { TarvixSDK_I2cRead(handle, 0, 0x50, bytes.data(), 4, 300, bytes.data(), false); }), 1);
    TarvixSDK_Destroy(handle);
    device->onFrame({});
    TarvixAsyncSDK sdk;
    ASSERT_TRUE(sdk.connect(""));
    ASSERT_TRUE(device->settle());
    EXPECT_EQ(cost([&] { sdk.resetDevice(1); }), 1);
    EXPECT_EQ(cost([&] { sdk.i2cWrite(1, 0, 0x50, registerAddress, data, false); }), 1);
    EXPECT_EQ(cost([&] { sdk.i3cSdrWrite(1, 0x50, registerAddress, data, I3cTransferFlags::NONE); }), 1);
}

// Makes the call with little memory. Whether it came to an end: it may say instead that there is no memory or, for a
// session's thread, no room.
template <typename Call>
bool survived(Call call)
{
    bool ended = false;
    scarce = true;
    try {
        call();
        ended = true;
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    scarce = false;
    return ended;
}

class OutOfMemory : public Adapter {
protected:
    static constexpr int TIMEOUT = 20; // ms, for answers that had to be dropped

    // Runs `use` with one allocation failing, the first to the 200th, and then with each second, third and so on.
    template <typename Use>
    void failEachAllocation(Use use)
    {
        for (int run = 0; run <= 400; ++run) { // the first with memory for all: some things are made only once
            again = run > 200;
            nth = run == 0 ? NEVER : (run - 1) % 200 + 1;
            SCOPED_TRACE((again ? "each multiple of " : "only ") + std::to_string(nth));
            const long before = blocks;
            fake_hid::reset();
            device = fake_hid::attach({.path = path});
            device->onFrame([this](const Bytes& request) { // between two notifications
                device->deliverFrame(padded(hex("00 00 81 10"), 1000));
                device->deliverFrame(padded(answerTo(request, hex("00 00 09")), 1000));
                device->deliverFrame(padded(hex("00 00 81 10"), 2000));
            });
            number = 0;
            use();
            EXPECT_EQ(device->opens(), device->closes());
            device.reset();
            fake_hid::reset();
            if (run > 0) {
                ASSERT_EQ(blocks, before) << "blocks were leaked";
            }
        }
    }

    // With memory again, a session that is open, or opened now, has its answers and can be closed.
    template <typename Open, typename Command>
    void recover(bool isOpen, Open open, Command command)
    {
        ASSERT_TRUE(isOpen || open()) << "something stayed locked";
        int attempts = 0; // a plain session may be behind
        while (command() != StatusCode::SUCCESS) {
            ASSERT_LT(++attempts, LONG_ENOUGH / TIMEOUT);
        }
        device->unplug(); // or closing waits for a read
    }

    TemporaryFile node;
    const std::string& path = node.path;
};

TEST_F(OutOfMemory, ASessionGoesOnOrCanBeOpenedAgain)
{
    for (const bool strict : {true, false}) {
        failEachAllocation([&] {
            std::unique_ptr<TarvixSDK> sdk;
            if (!survived([&] { sdk = std::make_unique<TarvixSDK>(TIMEOUT); })) {
                return;
            }
            const auto open = [&] { return strict ? bool(sdk->open({.path = path})) : sdk->connect(path); };
            Bytes data(500);
            const auto command = [&] { return sdk->spiTransfer(data, data, 500); };
            TarvixSDK::DeviceInfo info;
            const auto expectWhole = [unit = std::array<std::size_t, 8>{1000}](const Notification& it) { // to allocate
                EXPECT_EQ(it.length % unit[0], 0U);
            };
            survived([&] { sdk->onNotification(expectWhole); });
            EXPECT_TRUE(survived(open) || !sdk->isConnected()) << "opened all the same";
            survived(command);
            survived([&] { sdk->getDeviceInfo(info); });
            survived([&] { sdk->runInFlight(3, 2, closePort); });
            survived([&] { listAdapters(); });
            recover(sdk->isConnected(), open, [&] { return sdk->uartDeinit(); });
        });
    }
}

TEST_F(OutOfMemory, SoDoesAHandleOfTheFlatInterface)
{
    failEachAllocation([&] {
        TarvixSDK_Handle* handle = nullptr;
        survived([&] { handle = TarvixSDK_Create(TIMEOUT); });
        const auto open = [&] { return TarvixSDK_Open(handle, path.c_str(), "", 0, nullptr) == OpenStatus::OPENED; };
        Bytes data(2000);
        std::size_t length = 0;
        TarvixSDK_DeviceInfo info{};
        TarvixSDK_AdapterInfo* adapters = nullptr;
        survived(open);
        survived([&] {
            TarvixSDK_OnNotificationFrame(
                handle, [](void*, const std::uint8_t*, std::size_t) {}, nullptr);
        });
        survived([&] { TarvixSDK_I2cRead(handle, 0, 0x50, data.data(), 4, 300, data.data(), false); });
        survived([&] { TarvixSDK_NextNotification(handle, data.data(), data.size(), &length, 0); });
        StatusCode read = StatusCode::NO_RESPONSE;
        survived([&] { read = TarvixSDK_GetDeviceInfo(handle, &info); });
        EXPECT_EQ(read == StatusCode::SUCCESS, info.usbString5 != nullptr);
        survived([&] { TarvixSDK_ListAdapters(&adapters); });
        TarvixSDK_FreeDeviceInfo(&info);
        TarvixSDK_FreeAdapters(adapters);
        if (handle != nullptr) {
            recover(TarvixSDK_IsConnected(handle), open, [&] { return TarvixSDK_UartDeinit(handle); });
        }
        TarvixSDK_Destroy(handle);
    });
}

} // namespace
