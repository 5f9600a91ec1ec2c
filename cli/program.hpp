// What main of a program with commands does.
#pragma once

#include "command_line.hpp"

namespace tool {

// Runs the command line and ends the process at once: all output is written by then, and a reader that still runs finds
// everything in place.
[[noreturn]] void runProgram(const CommandSet& commands, int argumentCount, char** arguments);

} // namespace tool
