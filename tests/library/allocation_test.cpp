// What a command costs in the steady state: its own frame, and nothing else.
#include <atomic>
#include <cstdlib>
#include <new>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

std::atomic<int> allocations = 0; // outside the double, on any thread

} // namespace

void* operator new(std::size_t size)
{
    allocations += fake_hid::isInside() ? 0 : 1;
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

TEST(Allocation, ACommandAllocatesItsFrameOnly)
{
    fake_hid::reset();
    const auto device = fake_hid::attach();
    TarvixAsyncSDK sdk;
    ASSERT_TRUE(sdk.connect(""));
    // The reader has made its buffer, the one thing that it allocates, when it reads for the first time.
    ASSERT_TRUE(device->waitUntil([](const auto& d) { return d.reads() > 0; }));

    const std::vector<std::uint8_t> registerAddress{1, 2};
    const std::vector<std::uint8_t> data(65535);
    EXPECT_EQ(cost([&] { sdk.resetDevice(1); }), 1);
    EXPECT_EQ(cost([&] { sdk.i2cWrite(1, 0, 0x50, registerAddress, data, false); }), 1);
    EXPECT_EQ(cost([&] { sdk.i3cSdrWrite(1, 0x50, registerAddress, data, I3cTransferFlags::NONE); }), 1);
}

TEST(Allocation, SoDoesAnExchangeInBothKindsOfSession)
{
    for (const bool strict : {false, true}) {
        fake_hid::reset();
        const auto device = fake_hid::attach({.path = "no file: nothing to lock"});
        device->onFrame([&](const Bytes& request) {
            Bytes response = request; // its number and code
            response.resize(9 + 300);
            response[4] = response[5] = 0;
            device->deliverFrame(response);
        });
        TarvixSDK sdk(30'000);
        ASSERT_TRUE(sdk.open({.strict = strict}));
        std::vector<std::uint8_t> data;
        EXPECT_EQ(cost([&] { EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 300, data, false), StatusCode::SUCCESS); }), 1)
            << (strict ? "strict" : "plain");
    }
}

} // namespace
