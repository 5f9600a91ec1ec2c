#include "waiting.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace e2e {

namespace {

// An exception ends the child here: it must not unwind what belongs to its maker.
[[noreturn]] void perform(const std::function<int()>& work) noexcept
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::_Exit(work());
}

} // namespace

void require(bool holds, const std::string& what)
{
    if (!holds) {
        throw Failed(what);
    }
}

void eventually(const std::string& what, const std::function<bool()>& condition)
{
    // Emulated machines are slow and their hosts are busy: this is no measure of speed, only of "never".
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
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

Child::Child(const std::function<int()>& work) : id_(::fork())
{
    require(id_ >= 0, "cannot fork");
    if (id_ == 0) {
        perform(work);
    }
}

int Child::wait()
{
    int status = 0;
    ::waitpid(id_, &status, 0);
    id_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Child::waitUntilStopped() const
{
    int status = 0;
    ::waitpid(id_, &status, WUNTRACED);
    require(WIFSTOPPED(status), "a process ended early");
}

void Child::end(int signal)
{
    if (id_ > 0) {
        ::kill(id_, signal);
        wait();
    }
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

void redirectOutput(const std::string& file)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
    ::dup2(descriptor, STDOUT_FILENO);
    ::dup2(descriptor, STDERR_FILENO);
}

Outcome run(const std::vector<std::string>& command, const std::function<void()>& prepare)
{
    const std::string file = "/tmp/output";
    Child child([&]() -> int {
        redirectOutput(file);
        prepare();
        execute(command);
    });
    const int exitStatus = child.wait();
    return {exitStatus, contentsOf(file)};
}

} // namespace e2e
