#include "session/child.hpp"

#include <cerrno>
#include <cstring>

#include <fmt/format.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "common/child_process.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"

namespace bridge {

namespace {

constexpr int PATIENCE = 2000; // ms

volatile pid_t running = 0; // one is enough

void onSignal(int number, siginfo_t* signal, void*)
{
    const int savedErrno = errno;
    if (child_process::mustForward(static_cast<unsigned>(number), signal->si_code)) {
        kill(running, number);
    }
    errno = savedErrno;
}

} // namespace

Child::Child(const std::vector<std::string>& command)
{
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        environment.emplace_back(*variable);
    }
    sigset_t signals; // wait until they can be passed on
    sigemptyset(&signals);
    for (const int number : SIGNALS) {
        sigaddset(&signals, number);
    }
    sigset_t mask;
    sigprocmask(SIG_BLOCK, &signals, &mask);
    const int error = child_process::start(command, environment, mask, process_);
    if (error == 0) {
        passSignalsOn();
    }
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    if (error != 0) {
        terminal::tell(fmt::format("tarvix bridge: cannot run {}: {}", command[0], std::strerror(error)));
        throw tool::AlreadyReported{static_cast<tool::ExitStatus>(child_process::statusOfError(error))};
    }
    end_ = FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)), "pidfd_open");
}

Child::~Child()
{
    if (process_ < 0) {
        return;
    }
    for (const int number : {SIGTERM, SIGHUP, SIGCONT}) { // shells that somebody types into end with SIGHUP only
        kill(process_, number);
    }
    pollfd ended{end_.get(), POLLIN, 0};
    int ready = 0;
    while ((ready = poll(&ended, 1, PATIENCE)) < 0 && errno == EINTR) { // a signal for it
    }
    if (ready <= 0) {
        kill(process_, SIGKILL);
    }
    wait();
}

void Child::passSignalsOn()
{
    running = process_;
    struct sigaction action = {};
    action.sa_sigaction = onSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    for (std::size_t i = 0; i < before_.size(); ++i) {
        sigaction(SIGNALS[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) {
            sigaction(SIGNALS[i], &action, nullptr);
        }
    }
}

int Child::wait()
{
    for (std::size_t i = 0; i < before_.size(); ++i) { // before its number may become another's
        sigaction(SIGNALS[i], &before_[i], nullptr);
    }
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return child_process::statusOf(status);
}

} // namespace bridge
