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

// Each fuzzer defines this and its seeds, with which the search begins.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

std::vector<Bytes> seeds();

// Ends the run unless it holds: this input is a crash.
inline void require(bool holds, const std::string& what)
{
    if (!holds) {
        std::fprintf(stderr, "not so: %s\n", what.c_str());
        std::abort();
    }
}

// Reads every byte, so that the sanitizer sees where they lie.
inline void touch(std::span<const std::uint8_t> bytes)
{
    [[maybe_unused]] volatile std::uint8_t sink = 0;
    for (const std::uint8_t byte : bytes) {
        sink = byte;
    }
}

// An input, taken from its front. Behind its end there are zeros.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    bool empty() const { return rest_.empty(); }
    std::uint8_t u8() { return padded(bytes(1), 1)[0]; }
    std::uint16_t u16()
    {
        const Bytes two = padded(bytes(2), 2);
        return static_cast<std::uint16_t>(two[0] | two[1] << 8);
    }

    // At most so many, in memory without a byte to spare.
    Bytes bytes(std::size_t most)
    {
        const auto part = rest_.first(std::min(most, rest_.size()));
        rest_ = rest_.subspan(part.size());
        return {part.begin(), part.end()};
    }
    Bytes counted() { return bytes(u8()); }
    Bytes rest() { return bytes(rest_.size()); }

private:
    std::span<const std::uint8_t> rest_;
};

inline Bytes counted(const Bytes& bytes)
{
    return Bytes{static_cast<std::uint8_t>(bytes.size())} + bytes;
}
inline Bytes bytesOf(const std::string& text)
{
    return {text.begin(), text.end()};
}

// The one adapter that sessions find. What it sends, they receive on the thread that sends or delivers: no reader
// thread, so a run is fast and the same every time.
struct Adapter {
    std::size_t reportSize = 64;
    std::function<void(const Bytes& frame)> onFrame{}; // a whole frame that was written
    bool failsWrites = false;                          // and a session has then lost it

    static Adapter& instance();
};

// To the session that is open, as its reader does. Nothing when none is.
void deliverReport(const Bytes& report);
void deliverFrame(const Bytes& frame);

} // namespace fuzz
