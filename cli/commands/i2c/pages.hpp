// Writing memories that take one page at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "adapter/context.hpp"
#include "arguments/data.hpp"

namespace tool {

struct PagedWrite {
    std::uint8_t bus = 0;
    std::uint8_t address = 0;
    unsigned registerBytes = 1;
    std::uint64_t reg = 0; // of the first byte
    std::uint64_t page = 1;
    unsigned inFlight = 1;                    // pages that may be unanswered
    std::chrono::milliseconds busyLimit{100}; // for which a page may be refused
};

// In order, up to the first page that fails; those in flight behind it may be written all the same. `advice` is for a
// target that does not acknowledge.
void writePages(Context& context, const PagedWrite& where, const Bytes& data, std::string_view advice);

} // namespace tool
