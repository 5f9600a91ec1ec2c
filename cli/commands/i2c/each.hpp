// Registers read one by one, for targets that refuse some of them.
#pragma once

#include <cstdint>
#include <set>

#include "adapter/context.hpp"
#include "arguments/data.hpp"
#include "commands/i2c/port.hpp"

namespace tool {

// A range of registers, each read alone.
struct EachRegister {
    Bytes bytes;                    // 0 for one that did not acknowledge
    std::set<std::uint64_t> absent; // positions of those
};

// Throws CommandFailed if none acknowledges.
EachRegister readEach(Context& context, const I2cPortOptions& port, std::uint8_t address, std::uint64_t first,
                      std::uint64_t count, unsigned registerBytes);

} // namespace tool
