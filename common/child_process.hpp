// Running a user's command as a shell would, with a library preloaded into it.
#pragma once

#include <csignal>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace child_process {

// The file of this name that belongs to this program: beside it in the build tree, in `directory`, relative to it, once
// installed. Throws a std::runtime_error when it is missing.
std::string companion(std::string_view name, std::string_view directory);

// The same for a library. Throws also when it lies where the dynamic loader would not find it.
std::string preloadLibrary(std::string_view name, std::string_view directory);

enum class Order { FIRST, LAST };

// Our environment, with this library before or behind those that are preloaded already, and this variable. Programs
// built with AddressSanitizer run with it, too.
std::vector<std::string> environmentWith(const std::string& library, Order order, std::string_view variable,
                                         const std::string& value);

// Starts a command, which is found as a shell finds it; returns 0 or the error number. The child stays in our process
// group: what the terminal sends, it gets itself.
int start(const std::vector<std::string>& command, const std::vector<std::string>& environment,
          const sigset_t& signalMask, pid_t& child);

// Goes on as the program at this path; `words` are without its name. Returns the error number when it cannot.
int become(const std::string& path, const std::vector<std::string>& words);

// Whether the child did not get this signal of ours, as it gets those from the terminal. Its number and code are those
// of siginfo_t or signalfd_siginfo. A handler may ask.
bool mustForward(unsigned number, int code);

// The exit status of a command that could not be started, and of one that ended, as wait has it.
int statusOfError(int error);
int statusOf(int ended);

} // namespace child_process
