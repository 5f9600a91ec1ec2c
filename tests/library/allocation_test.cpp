// What a command costs in the steady state: its own frame, and nothing else.
#include <atomic>
#include <cstdlib>
#include <new>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "tarvixsdk/async_sdk.hpp"

namespace {

std::atomic<int> allocations = 0;

} // namespace

void* operator new(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace {

TEST(Allocation, ACommandAllocatesItsFrameOnly)
{
    fake_hid::reset();
    const auto device = fake_hid::attach();
    TarvixAsyncSDK sdk;
    ASSERT_TRUE(sdk.connect(""));
    // The reader has made its buffer, the one thing that it allocates, when it reads for the first time.
    ASSERT_TRUE(device->waitUntil([](const auto& d) { return d.reads() > 0; }));
    device->failWrites(true); // so that the double keeps, and allocates, nothing

    const std::vector<std::uint8_t> registerAddress{1, 2};
    const std::vector<std::uint8_t> data(65535);
    const auto cost = [&](const auto& command) {
        command();
        const int before = allocations;
        command();
        return allocations - before;
    };
    EXPECT_EQ(cost([&] { sdk.resetDevice(1); }), 1);
    EXPECT_EQ(cost([&] { sdk.i2cWrite(1, 0, 0x50, registerAddress, data, false); }), 1);
    EXPECT_EQ(cost([&] { sdk.i3cSdrWrite(1, 0x50, registerAddress, data, I3cTransferFlags::NONE); }), 1);
}

} // namespace
