// Writing memories that take one page at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

#include "adapter/context.hpp"
#include "arguments/data.hpp"

namespace tool {

// Within one page of a memory.
struct I2cPage {
    std::uint8_t address;
    std::uint64_t reg;
    std::span<const std::uint8_t> data;
};

struct PageOptions {
    std::uint8_t bus = 0;
    unsigned registerBytes = 1;
    unsigned inFlight = 1;                    // pages that may be unanswered
    std::chrono::milliseconds busyLimit{100}; // for which a page may be refused
};

// In order, up to the first page that fails; those in flight behind it may be written all the same. `advice` is for a
// target that does not acknowledge. `written` hears how many pages are.
void writePages(Context& context, const PageOptions& options, std::span<const I2cPage> pages, std::string_view advice,
                const std::function<void(std::size_t pages)>& written);

struct PagedWrite {
    std::uint8_t bus = 0;
    std::uint8_t address = 0;
    unsigned registerBytes = 1;
    std::uint64_t reg = 0; // of the first byte
    std::uint64_t page = 1;
    unsigned inFlight = 1;                    // pages that may be unanswered
    std::chrono::milliseconds busyLimit{100}; // for which a page may be refused
};

// The same for data that begins anywhere and is cut at the ends of the pages.
void writePages(Context& context, const PagedWrite& where, const Bytes& data, std::string_view advice);

} // namespace tool
