// A chip select as far as the adapter can drive it.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>

#include "arguments/data.hpp"
#include "tarvixsdk/types.h"

namespace bridge {

struct SpiSettings {
    SpiMode mode = SpiMode::MODE_0;
    SpiBitOrder bitOrder = SpiBitOrder::MSB_FIRST;
    SpiDataWidth width = SpiDataWidth::BITS_8;
    SpiChipSelectPolarity polarity = SpiChipSelectPolarity::ACTIVE_LOW;
    std::uint32_t clock = 1'000'000; // Hz

    bool operator==(const SpiSettings&) const = default;
};

class SpiBus {
public:
    virtual ~SpiBus() = default;

    // Select, as many bytes in as out, deselect. 1 to LONGEST bytes. Throws Errno.
    virtual tool::Bytes transfer(const SpiSettings& settings, std::span<const std::uint8_t> sent) = 0;

    // Before the next transfer. Throws Errno: EINTR when the bridge is to end.
    virtual void pause(std::chrono::microseconds time) = 0;

    static constexpr std::size_t LONGEST = 65'535;
    static constexpr std::uint32_t FASTEST = 50'000'000; // Hz
};

} // namespace bridge
