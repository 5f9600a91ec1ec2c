// Standard error of both programs, and text from outside on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace terminal {

// For the beginning of main, so that nothing is ever written where it does not belong: a file that is opened never gets
// the number of a standard descriptor that is closed (an adapter's node would get our messages), and SIGPIPE is
// ignored.
void secureStandardStreams();

// Whether SIGPIPE was ignored before that, for programs that we start.
bool inheritedIgnoredSigpipe();

// Neither a control character nor one that changes the direction of writing.
bool isHarmless(char32_t point);

// `text` in one line that cannot control a terminal: a dot for each control character, for each character that changes
// the direction of writing, and for each byte that is not UTF-8.
std::string printable(std::string_view text);

// Writes a line to standard error, made printable. Never throws: what standard error does not take is lost.
void tell(std::string_view line) noexcept;

// The same for text of our own, as it is.
void writeError(std::string_view text) noexcept;

} // namespace terminal
