// An adapter that answers every request as a row of the golden table says.
#pragma once

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "golden/golden.hpp"
#include "support/fake_hid.hpp"

namespace golden {

inline constexpr int LONG_ENOUGH = 30'000; // ms; a test that runs into it fails

class Adapter : public testing::Test {
protected:
    Adapter()
    {
        fake_hid::reset();
        device = fake_hid::attach({.productId = fake_hid::LARGE_REPORTS});
    }

    // From now on each request that the adapter answers gets its own id and code, and behind them these bytes.
    void answer(Bytes fromStatus)
    {
        device->onFrame([this, fromStatus = std::move(fromStatus)](const Bytes& request) {
            const bool restarts = request.at(3) == 0x04 && request.at(2) <= 0x02;
            if (!restarts) {
                device->deliverFrame(part(request, 0, 4) + fromStatus);
            }
        });
    }
    void answer(const std::string& fromStatus) { answer(hex(fromStatus)); }

    // The last frame from its command code on, as text; empty when none was sent since the last look.
    std::string sent()
    {
        const std::vector<Bytes> frames = device->frames();
        device->forget();
        return frames.empty() ? "" : hexOf(part(frames.back(), 2, frames.back().size()));
    }

    std::shared_ptr<fake_hid::Device> device;
};

class FlatAdapter : public Adapter {
protected:
    FlatAdapter() : handle(TarvixSDK_Create(LONG_ENOUGH)) {}
    ~FlatAdapter() override { TarvixSDK_Destroy(handle); }

    void connect() { ASSERT_TRUE(TarvixSDK_Connect(handle, nullptr)); }

    TarvixSDK_Handle* handle;
};

} // namespace golden
