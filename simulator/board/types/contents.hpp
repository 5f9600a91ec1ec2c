// What is in a memory at the beginning, and the file that keeps it: the keys `contents` and `keep`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "board/document.hpp"

namespace sim {

struct Contents {
    std::vector<std::uint8_t> bytes; // at most as many as the memory has
    std::string keptIn;              // a file; empty for none
};

Contents readContents(Object& object, std::size_t size);

} // namespace sim
