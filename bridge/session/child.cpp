#include "session/child.hpp"

#include <csignal>
#include <cstring>

#include <fmt/format.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "common/child_process.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"

namespace bridge {

Child::Child(const std::vector<std::string>& command)
{
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        environment.emplace_back(*variable);
    }
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    if (const int error = child_process::start(command, environment, mask, process_); error != 0) {
        terminal::tell(fmt::format("tarvix bridge: cannot run {}: {}", command[0], std::strerror(error)));
        throw tool::AlreadyReported{static_cast<tool::ExitStatus>(child_process::statusOfError(error))};
    }
    end_ = FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)), "pidfd_open");
}

Child::~Child()
{
    if (process_ > 0) {
        kill(process_, SIGTERM);
        wait();
    }
}

int Child::wait()
{
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return child_process::statusOf(status);
}

} // namespace bridge
