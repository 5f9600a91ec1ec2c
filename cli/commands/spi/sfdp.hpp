// What a flash memory says of itself: serial flash discoverable parameters (JESD216).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "arguments/data.hpp"

namespace tool {

struct FlashErase {
    std::uint64_t size; // bytes, a power of two
    std::uint8_t command;

    bool operator==(const FlashErase&) const = default;
};

// How a flash memory is read and programmed.
struct FlashParameters {
    std::uint64_t size = 0;
    std::uint64_t page = 256;
    std::vector<FlashErase> erases{}; // ascending
    unsigned addressBytes = 3;
    std::uint8_t readCommand = 0x03;
    std::uint8_t programCommand = 0x02;

    bool operator==(const FlashParameters&) const = default;
};

inline constexpr std::uint64_t THREE_BYTES_REACH = 1 << 24;

// `read` gets bytes of the chip's parameters. `size` uses less of the chip than there is. Empty for a chip without
// parameters. Throws Failure for those that are damaged, and for a chip that needs what this program does not do.
std::optional<FlashParameters> readSfdp(const std::function<Bytes(std::uint32_t address, std::size_t count)>& read,
                                        std::optional<std::uint64_t> size);

} // namespace tool
