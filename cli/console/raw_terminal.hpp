// The user's terminal in raw mode: every key reaches the program at once, none edits a line or raises a signal.
#pragma once

namespace tool {

// Standard input's terminal is raw while this lives. Its former settings come back on every way out that a program can
// see: also when a signal ends it, or a crash.
class RawTerminal {
public:
    // `rawOutput`: an LF that is written does not return the carriage any more, either.
    explicit RawTerminal(bool rawOutput);

    // Also begins a new line, wherever the cursor was left.
    ~RawTerminal();
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;
};

// For signal handlers that end the program: puts the settings back if the terminal is raw.
void restoreTerminal() noexcept;

} // namespace tool
