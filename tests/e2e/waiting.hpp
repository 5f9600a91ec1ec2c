// What every scenario needs: checks, waiting for something to become true, and running programs.
#pragma once

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/types.h>

namespace e2e {

// A check that did not hold; ends the scenario.
class Failed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void require(bool holds, const std::string& what);

// Emulated machines are slow and their hosts are busy: this is no measure of speed, only of "never".
inline constexpr std::chrono::seconds PATIENCE{20};

// Returns when the condition holds; a failure when it does not within PATIENCE.
void eventually(const std::string& what, const std::function<bool()>& condition);

std::string contentsOf(const std::string& path); // empty when it cannot be read

struct Outcome {
    int exitStatus; // 128 plus the signal's number after a signal
    std::string output;
};

// Runs a program to its end and collects its standard output and standard error together.
Outcome run(const std::vector<std::string>& command);

// Makes the attempt in a process of its own; returns its exit status.
int inProcess(const std::function<int()>& attempt);

// Becomes the program. For a forked child.
[[noreturn]] void execute(const std::vector<std::string>& command);

int exitStatusOf(int waitStatus);

} // namespace e2e
