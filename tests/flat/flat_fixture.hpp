// A flat handle on a scripted adapter, and the memory that the calls of the tests point to.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/fake_hid.hpp"
#include "tarvixsdk/flat.h"

using fake_hid::Bytes;

// "05 09 ff" as bytes.
inline Bytes hex(const std::string& text)
{
    std::istringstream stream(text);
    Bytes bytes;
    for (unsigned byte = 0; stream >> std::hex >> byte;) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return bytes;
}

// What the calls of a table point to. As made by `Flat` everything is valid; made by itself everything that a function
// tests is wrong.
struct Arguments {
    const std::uint8_t* in = nullptr;       // A1 A2 A3
    const std::uint8_t* readable = nullptr; // the same, for the arguments that must be readable in any case
    std::uint8_t registerLength = 9;
    std::uint8_t bus = 7;
    std::uint8_t* out = nullptr;
    std::uint8_t* length8 = nullptr;
    std::uint16_t* length16 = nullptr;
    std::uint8_t* value8 = nullptr;
    std::uint8_t* secondValue8 = nullptr;
    std::uint16_t* value16 = nullptr;
    std::uint16_t* secondValue16 = nullptr;
    GpioLogicLevel* level = nullptr;
    I3cTargetInfo* table = nullptr;
    TarvixSDK_DeviceInfo* info = nullptr;
};

class Flat : public testing::Test {
protected:
    static constexpr std::uint8_t UNTOUCHED = 0xEE;

    Flat()
    {
        fake_hid::reset();
        device = fake_hid::attach({.productId = fake_hid::LARGE_REPORTS});
        handle = TarvixSDK_Create(30'000);
        in = {0xA1, 0xA2, 0xA3};
        forgetOutputs();
    }
    ~Flat() override
    {
        TarvixSDK_Destroy(handle);
        TarvixSDK_FreeDeviceInfo(&info);
    }

    void connect() { ASSERT_TRUE(TarvixSDK_Connect(handle, nullptr)); }

    // From now on each request that waits for an answer gets this one: the bytes from the status on.
    void answer(const std::string& fromStatus)
    {
        device->onFrame([this, response = hex("00 00 00 00 " + fromStatus)](const Bytes& frame) mutable {
            const bool restarts = frame[3] == 0x04 && frame[2] <= 0x02;
            if (!restarts) {
                std::copy_n(frame.begin(), 4, response.begin());
                device->deliverFrame(response);
            }
        });
    }

    // The last frame from its command code on; empty when nothing was sent since the last look.
    Bytes sent()
    {
        const std::vector<Bytes> frames = device->frames();
        device->forget();
        return frames.empty() ? Bytes() : Bytes(frames.back().begin() + 2, frames.back().end());
    }

    void forgetOutputs()
    {
        out.fill(UNTOUCHED);
        length8 = value8 = secondValue8 = UNTOUCHED;
        length16 = value16 = secondValue16 = 0xEEEE;
        level = GpioLogicLevel{0xEEEEEEEE};
        table.fill(I3cTargetInfo{});
    }

    Arguments arguments()
    {
        return {in.data(),
                in.data(),
                2,
                1,
                out.data(),
                &length8,
                &length16,
                &value8,
                &secondValue8,
                &value16,
                &secondValue16,
                &level,
                table.data(),
                &info};
    }

    Bytes outBytes(std::size_t count) const { return {out.begin(), out.begin() + static_cast<std::ptrdiff_t>(count)}; }

    // Bytes of the buffer up to the last one written.
    std::size_t written() const
    {
        std::size_t size = out.size();
        while (size > 0 && out[size - 1] == UNTOUCHED) {
            --size;
        }
        return size;
    }

    std::shared_ptr<fake_hid::Device> device;
    TarvixSDK_Handle* handle;
    std::array<std::uint8_t, 3> in;
    std::array<std::uint8_t, 65'535> out;
    std::uint8_t length8, value8, secondValue8;
    std::uint16_t length16, value16, secondValue16;
    GpioLogicLevel level;
    std::array<I3cTargetInfo, 8> table;
    TarvixSDK_DeviceInfo info{};
};
