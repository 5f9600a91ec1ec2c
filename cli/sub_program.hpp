// Commands that are programs of their own: they need libraries that `tarvix list` should not wait for. Such a program
// gets the whole command line, and its commands are added and run like those of `tarvix` itself.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace tool {

struct SubProgram {
    const char* command; // the program is called tarvix-COMMAND
    const char* description;
};

// The one that the command line is for, or null. `words` are without "tarvix".
const SubProgram* subProgramOf(std::span<const SubProgram> programs, const std::vector<std::string>& words);

// Goes on as that program. Throws a Failure when it cannot be run.
[[noreturn]] void become(const SubProgram& program, const std::vector<std::string>& words);

} // namespace tool
