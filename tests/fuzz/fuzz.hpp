// What the fuzzers share: taking an input apart, saying what must hold, and an adapter without a thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "support/bytes.hpp"

namespace fuzz {

// An input, taken from its front. Behind its end there are zeros.
class Input {
public:
    explicit Input(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    bool empty() const { return rest_.empty(); }
    std::uint8_t u8() { return rest_.empty() ? std::uint8_t{0} : take(1)[0]; }
    std::uint16_t u16()
    {
        const std::uint8_t low = u8();
        return static_cast<std::uint16_t>(low | u8() << 8);
    }
    Bytes bytes(std::size_t most) // in memory without a byte to spare
    {
        const auto part = take(most);
        return {part.begin(), part.end()};
    }
    Bytes counted() { return bytes(u8()); }
    Bytes rest() { return bytes(rest_.size()); }

private:
    std::span<const std::uint8_t> take(std::size_t most)
    {
        const auto part = rest_.first(std::min(most, rest_.size()));
        rest_ = rest_.subspan(part.size());
        return part;
    }

    std::span<const std::uint8_t> rest_;
};

void run(Input input); // each fuzzer's own

// Ends the run unless it holds: this input is a crash.
inline void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "not so: %s\n", what);
        std::abort();
    }
}

// Reads every byte, so that the sanitizer sees where they lie.
inline void touch(std::span<const std::uint8_t> bytes)
{
    [[maybe_unused]] static volatile std::uint8_t sink;
    std::ranges::for_each(bytes, [](std::uint8_t byte) { sink = byte; });
}

// The one adapter that sessions find. What it sends, they receive on the thread that sends or delivers.
inline struct Adapter {
    std::size_t reportSize = 64;
    std::function<void(const Bytes& frame)> onFrame{}; // a whole frame that was written
    bool failsWrites = false;                          // and a session has then lost it
} theAdapter;

// To the session that is open, as its reader does. Nothing when none is.
void deliverReport(const Bytes& report);
void deliverFrame(const Bytes& frame);

} // namespace fuzz
