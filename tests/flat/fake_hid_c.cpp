#include "fake_hid_c.h"

#include <algorithm>

#include "support/fake_hid.hpp"

namespace {

fake_hid::Device& device()
{
    return *fake_hid::bus().devices.front();
}

} // namespace

void fake_hid_attach()
{
    fake_hid::reset();
    fake_hid::attach();
}

void fake_hid_answer(const uint8_t* bytes, size_t length)
{
    Bytes response(4 + length);
    std::copy_n(bytes, length, response.begin() + 4);
    device().onFrame([response](const Bytes& frame) mutable {
        std::copy_n(frame.begin(), 4, response.begin());
        device().deliverFrame(response);
    });
}

void fake_hid_notify(const uint8_t* frame, size_t length)
{
    device().deliverFrame(Bytes(frame, frame + length));
}

int fake_hid_sent(const uint8_t* bytes, size_t length)
{
    const std::vector<Bytes> frames = device().frames();
    device().forget();
    return !frames.empty() && std::equal(frames.back().begin() + 2, frames.back().end(), bytes, bytes + length) ? 1 : 0;
}
