#include "command/record.hpp"

#include <cstring>
#include <fmt/format.h>
#include <string>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "arguments/options.hpp"
#include "command/report.hpp"
#include "command/show.hpp"
#include "common/child_process.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"

namespace trace {

namespace {

using namespace tool;

struct RecordOptions {
    std::vector<std::string> stray;
};

// Waits for the end of the command, as a shell would; returns its exit status.
int await(pid_t child, int signals)
{
    int status = 0;
    while (true) {
        signalfd_siginfo signal{};
        if (::read(signals, &signal, sizeof signal) != sizeof signal) {
            continue;
        }
        if (child_process::mustForward(signal)) {
            ::kill(child, static_cast<int>(signal.ssi_signo));
        } else if (::waitpid(child, &status, WNOHANG) == child) {
            return child_process::statusOf(status);
        }
    }
}

int runCommand(const std::vector<std::string>& command, const std::vector<std::string>& environment)
{
    sigset_t watched;
    sigset_t original;
    ::sigemptyset(&watched);
    for (const int number : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        ::sigaddset(&watched, number);
    }
    ::sigprocmask(SIG_BLOCK, &watched, &original);
    const int signals = ::signalfd(-1, &watched, SFD_CLOEXEC);
    pid_t child = -1;
    if (const int error = child_process::start(command, environment, original, child)) {
        terminal::tell(fmt::format("tarvix trace: cannot run {}: {}", command[0], std::strerror(error)));
        return child_process::statusOfError(error);
    }
    return await(child, signals);
}

void record(Context& context, const RecordOptions& options)
{
    const auto& command = context.options().command;
    if (!options.stray.empty()) {
        throw UsageError(fmt::format("unexpected argument '{}'", options.stray.front()),
                         "the command to trace stands behind '--', as in 'tarvix trace -- tarvix list'");
    }
    if (command.empty()) {
        throw UsageError("missing command", "it stands behind '--', as in 'tarvix trace -- tarvix list'");
    }
    std::vector<std::string> environment;
    for (char** variable = environ; *variable; ++variable) {
        environment.emplace_back(*variable);
    }
    throw AlreadyReported{static_cast<ExitStatus>(runCommand(command, environment))};
}

} // namespace

void addTraceCommands(Commands& commands)
{
    auto [app, options] = commands.add("trace", "Record what programs and adapters say to each other", record,
                                       {"tarvix trace -- tarvix i2c get 0x48 0 -n 2"});
    addTexts(app, "COMMAND", options.stray, "The command to run, with its arguments").valueName("-- COMMAND");
    Commands below = commands.below(app);
    addShowCommand(below);
    addReportCommand(below);
}

} // namespace trace
