// The keys of the terminal: those that go to the line, and those that are for the terminal itself.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "arguments/data.hpp"

namespace tool {

// What goes out for the Enter key, or for each LF of an input that is not typed.
enum class SentLineEnd { AS_IS, CR, LF, CRLF };

// `end` is what ends a line of the input: CR when it is typed.
Bytes withLineEnds(std::span<const std::uint8_t> input, char end, SentLineEnd wanted);

// What becomes an LF.
enum class ReceivedLineEnd { AS_IS, CR, CRLF };

// A CR LF may come in two pieces.
class LineEndReader {
public:
    explicit LineEndReader(ReceivedLineEnd replaced) : replaced_(replaced) {}

    Bytes add(std::span<const std::uint8_t> bytes);

    // At the end: the CR that no LF followed.
    Bytes end();

private:
    ReceivedLineEnd replaced_;
    bool held_ = false; // a CR
};

inline constexpr std::string_view KEYS_HELP = "C-a C-x leaves, C-a C-a sends C-a, C-a C-h lists the keys";

// Takes the escape key and what follows it out of what is typed.
class Keys {
public:
    enum class Action { NONE, LEAVE, HELP };

    struct Typed {
        Bytes bytes; // for the line
        Action action = Action::NONE;
    };

    // What was typed after LEAVE is dropped.
    Typed add(std::span<const std::uint8_t> typed);

private:
    bool escaped_ = false;
};

} // namespace tool
