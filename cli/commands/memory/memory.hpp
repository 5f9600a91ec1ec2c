// A memory chip as reading and programming see it, whatever bus it is on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "adapter/pieces.hpp"
#include "arguments/data.hpp"
#include "console/output.hpp"

namespace tool {

// What each byte of a block is once it is erased.
inline constexpr std::uint8_t ERASED = 0xFF;

// Bytes of a memory.
struct Extent {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;

    std::uint64_t end() const { return offset + length; }
    bool contains(const Extent& other) const { return offset <= other.offset && other.end() <= end(); }
    bool operator==(const Extent&) const = default;
};

struct Geometry {
    std::uint64_t size = 0;
    std::uint64_t page = 0;                // bytes that one write can reach
    std::vector<std::uint64_t> erasable{}; // bytes that one erase sets to 0xFF: powers of two, ascending; none where a
                                           // write does all
};

// Part of a page, and what goes there.
struct PageWrite {
    std::uint64_t offset;
    std::span<const std::uint8_t> data;
};

// Its functions throw Failure, and Interrupted between two steps.
class Memory {
public:
    Memory() = default;
    virtual ~Memory() = default;
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    virtual const Geometry& geometry() const = 0;
    virtual Carriage carriage() const = 0;

    // Where it is, for JSON.
    virtual Json fields() const = 0;

    virtual Bytes read(std::uint64_t offset, std::size_t count) = 0;

    // One block, of a size and at an offset that can be erased.
    virtual void erase(const Extent& block) = 0;

    // In order. `written` hears of the bytes of each page that was taken.
    virtual void write(std::span<const PageWrite> pages, const std::function<void(std::size_t bytes)>& written) = 0;

    // What to do when it does not hold what was written.
    virtual std::string adviceOnDifference() = 0;
};

} // namespace tool
