// One record of a capture: what happened to one USB transfer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "trace/capture/layout.hpp"

namespace trace {

// All times are in nanoseconds.
inline constexpr std::int64_t MICROSECOND = 1'000;
inline constexpr std::int64_t MILLISECOND = 1'000'000;
inline constexpr std::int64_t SECOND = 1'000'000'000;

// What no clock goes beyond: so their nanoseconds, and differences of them, fit.
inline constexpr std::int64_t MOST_SECONDS = std::int64_t{1} << 32;

struct Record {
    std::int64_t time = 0;   // of the wall clock, since 1970
    std::int64_t moment = 0; // of a clock that never jumps, where the writer had one: for differences
    UsbHeader header{};
    std::span<const std::uint8_t> data{}; // valid until the next record is read
    bool cut = false;                     // the capture does not hold all of the data

    bool hasSetup() const { return header.setupFlag == 0; }
};

inline constexpr int LINK_USB_LINUX = 189; // the first 48 bytes of the header only
inline constexpr int LINK_USB_LINUX_MMAPPED = 220;

// Takes one packet of such a capture apart. `original` is what it had before a capture's limit cut it. False when it is
// too short to be one. `record` gets no time of the wall clock.
bool parseRecord(int linkType, std::span<const std::uint8_t> packet, std::size_t original, Record& record);

} // namespace trace
