#include "ports/run/command.hpp"

#include <cstring>
#include <fmt/format.h>
#include <sys/wait.h>

#include "common/child_process.hpp"
#include "common/terminal.hpp"
#include "ports/run/socket.hpp"

namespace sim {

namespace {

constexpr auto PATIENCE_WITH_COMMAND = std::chrono::seconds(5);

} // namespace

int Command::run(const std::string& socket, const std::vector<std::string>& words)
{
    // Behind what is preloaded already: a recorder must see what programs ask of our library.
    const auto environment =
        child_process::environmentWith(child_process::preloadLibrary(TARVIX_SIM_LIBRARY, TARVIX_SIM_LIBRARY_DIRECTORY),
                                       child_process::Order::LAST, SOCKET_VARIABLE, socket);
    int status = 0;
    loop_.onSignals({SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP}, [&](const signalfd_siginfo& signal) {
        if (child_process::mustForward(signal.ssi_signo, signal.ssi_code)) {
            ::kill(child_, static_cast<int>(signal.ssi_signo));
        } else if (::waitpid(child_, &status, WNOHANG) == child_) {
            loop_.stop();
        }
    });
    if (const int error = child_process::start(words, environment, loop_.originalSignalMask(), child_)) {
        terminal::tell(fmt::format("tarvix-sim: cannot run {}: {}", words[0], std::strerror(error)));
        return child_process::statusOfError(error);
    }
    loop_.run();
    return child_process::statusOf(status);
}

void Command::mustEnd()
{
    loop_.after(PATIENCE_WITH_COMMAND, [this] { ::kill(child_, SIGTERM); });
    loop_.after(2 * PATIENCE_WITH_COMMAND, [this] { ::kill(child_, SIGKILL); });
}

} // namespace sim
