// The messages of `tarvix i2c transfer`, as i2ctransfer takes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "arguments/data.hpp"

namespace tool {

// One message of i2ctransfer: {r|w}LENGTH[@ADDRESS], a write followed by its data.
struct Message {
    bool reads = false;
    std::uint64_t length = 0;
    std::uint8_t address = 0;
    std::string text;
    Bytes data{};
};

// One message, or a write and a read that the adapter joins. Throws UsageError.
std::vector<Message> parseMessages(const std::vector<std::string>& words);

} // namespace tool
