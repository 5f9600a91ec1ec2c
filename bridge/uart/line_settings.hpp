// What a pseudo-terminal says of the line's settings.
#pragma once

#include "commands/uart/line.hpp"

namespace bridge {

// Not parity and size: the kernel keeps every pseudo-terminal at eight bits without parity.
struct TerminalSettings {
    unsigned rate = 0; // bits per second
    bool twoStopBits = false;
    bool rtsCts = false;

    bool operator==(const TerminalSettings&) const = default;
};

// What a terminal says of a line with these options.
TerminalSettings settingsOf(const tool::LineOptions& line);

// Those of a pseudo-terminal, by either side. Throw std::system_error.
TerminalSettings terminalSettings(int terminal);
void setTerminal(int terminal, const tool::LineOptions& line);

// For the beginning: every byte passes unchanged, and nothing is echoed.
void makeRaw(int terminal);

// `line` as the terminal wants it. A rate that the adapter does not have (0, which hangs up, among them) leaves its
// own.
tool::LineOptions follow(tool::LineOptions line, const TerminalSettings& terminal);

} // namespace bridge
