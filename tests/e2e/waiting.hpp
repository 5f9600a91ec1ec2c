// What every scenario needs: checks, waiting for something to become true, and other processes.
#pragma once

#include <csignal>
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

// Returns when the condition holds; a failure when it does not within a generous limit.
void eventually(const std::string& what, const std::function<bool()>& condition);

std::string contentsOf(const std::string& path); // empty when it cannot be read

// A copy of this process that does `work`, exits with what it returns, and dies with its maker.
class Child {
public:
    explicit Child(const std::function<int()>& work);
    ~Child() { end(SIGKILL); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t id() const { return id_; }
    int wait(); // for its end; returns its exit status, 128 plus the signal's number after a signal
    void waitUntilStopped() const;
    void signal(int signal) const { ::kill(id_, signal); }
    void end(int signal);

private:
    pid_t id_; // -1 when it has ended
};

// Becomes the program, its standard output and standard error in a file.
[[noreturn]] void execute(const std::vector<std::string>& command);

void redirectOutput(const std::string& file);

struct Outcome {
    int exitStatus; // as Child::wait returns it
    std::string output;
};

// Runs a program to its end. `prepare` is called in its process before.
Outcome run(
    const std::vector<std::string>& command, const std::function<void()>& prepare = [] {});

} // namespace e2e
