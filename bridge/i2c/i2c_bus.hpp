// A bus as far as the adapter can drive it.
#pragma once

#include <cstdint>
#include <span>

#include "arguments/data.hpp"

namespace bridge {

class I2cBus {
public:
    virtual ~I2cBus() = default;

    // START, address+W, the bytes, STOP. Throws Errno, as `read` does.
    virtual void write(std::uint8_t address, std::span<const std::uint8_t> bytes) = 0;

    // START, address+W, up to MOST_BEFORE_READ bytes, repeated START, address+R, `length` bytes, STOP; with none to
    // send: START, address+R, `length` bytes, STOP.
    virtual tool::Bytes read(std::uint8_t address, std::span<const std::uint8_t> sent, std::uint16_t length) = 0;

    static constexpr std::size_t MOST_BEFORE_READ = 4;
};

} // namespace bridge
