#include "waiting.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace e2e {

void require(bool holds, const std::string& what)
{
    if (!holds) {
        throw Failed(what);
    }
}

void eventually(const std::string& what, const std::function<bool()>& condition)
{
    const auto limit = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        require(std::chrono::steady_clock::now() < limit, "waited in vain: " + what);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

std::string contentsOf(const std::string& path)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream contents;
    contents << file.rdbuf(); // keeps to itself that a device's file may end in an error
    return contents.str();
}

int exitStatusOf(int waitStatus)
{
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

void execute(const std::vector<std::string>& command)
{
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    std::perror(command[0].c_str());
    std::_Exit(127);
}

int inProcess(const std::function<int()>& attempt)
{
    const pid_t child = ::fork();
    require(child >= 0, "cannot fork");
    if (child == 0) {
        std::_Exit(attempt());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return exitStatusOf(status);
}

Outcome run(const std::vector<std::string>& command)
{
    std::array<int, 2> ends{};
    require(::pipe(ends.data()) == 0, "cannot make a pipe");
    const pid_t child = ::fork();
    require(child >= 0, "cannot fork");
    if (child == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        execute(command);
    }
    ::close(ends[1]);
    Outcome outcome{};
    std::array<char, 4096> buffer{};
    for (ssize_t size = 0; (size = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
        outcome.output.append(buffer.data(), static_cast<std::size_t>(size));
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    outcome.exitStatus = exitStatusOf(status);
    return outcome;
}

} // namespace e2e
