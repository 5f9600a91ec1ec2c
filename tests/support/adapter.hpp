// One attached adapter that answers as the test says.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "tarvixsdk/flat.h"

inline constexpr int FOREVER = -1;
inline constexpr int LONG_ENOUGH = 30'000; // ms; a test that runs into it fails
inline constexpr int NOT_AT_ALL = 0;

// The request's own id and code, and behind them these bytes.
inline Bytes answerTo(const Bytes& request, const Bytes& fromStatus)
{
    return part(request, 0, 4) + fromStatus;
}

// A node that can be locked. Lives as long as it is open; the path leads to it until then.
struct TemporaryFile {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{std::tmpfile(), std::fclose};
    std::string path = "/proc/self/fd/" + std::to_string(::fileno(file.get()));
};

class Adapter : public testing::Test {
protected:
    Adapter()
    {
        fake_hid::reset();
        device = fake_hid::attach({.path = "no file: nothing to lock"});
    }

    // From now on each request that the adapter answers gets these bytes.
    void answer(Bytes fromStatus)
    {
        device->onFrame([this, fromStatus = std::move(fromStatus)](const Bytes& request) {
            const bool restarts = request.at(3) == 0x04 && request.at(2) <= 0x02;
            if (!restarts) {
                device->deliverFrame(answerTo(request, fromStatus));
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

    // Waits until a request is on its way.
    void requestArrives()
    {
        ASSERT_TRUE(device->waitUntil([](const auto& it) { return !it.frames().empty(); }));
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
