// Which parts of a memory to erase and to write.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "commands/memory/memory.hpp"

namespace tool {

// What is done to one block: it is erased, if it must be, and then parts of its pages are written.
struct Change {
    Extent block;
    bool erases = false;
    std::vector<Extent> writes{};

    bool operator==(const Change&) const = default;
};

// The least that turns `before` into `after`. Both hold the bytes from `first` on, which begin and end between blocks
// of the smallest size that can be erased. A block is erased only where a zero must become a one; a larger one only
// where each of the smallest in it must be.
std::vector<Change> planChanges(const Geometry& geometry, std::uint64_t first, std::span<const std::uint8_t> before,
                                std::span<const std::uint8_t> after);

// `asked`, and what must be read to keep it when blocks are erased.
Extent widened(const Geometry& geometry, const Extent& asked);

} // namespace tool
