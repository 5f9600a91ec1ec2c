// What a device says, as a terminal may show it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tool {

// Lets UTF-8 through, and of the control characters those that text is made of: CR, LF, TAB, BS and BEL. What else
// could control a terminal, and bytes that are no UTF-8, become visible: \x1b. A character may come in pieces.
class VisibleText {
public:
    std::string add(std::span<const std::uint8_t> bytes);

    // At the end: the pieces of a character that never was completed.
    std::string end();

private:
    std::string left_;
};

} // namespace tool
