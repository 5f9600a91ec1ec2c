// `tarvix-sim run`: adapters for one command and everything that it starts. `tarvix-sim serve`: adapters for commands
// that are run with --connect.
//
// The command gets the environment variables LD_PRELOAD, so that a library of ours answers what it asks of hidapi,
// libudev and hidraw, and TARVIX_SIM_SOCKET, where that library finds this host.
#include "ports/port.hpp"

#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/wait.h>

#include "common/child_process.hpp"
#include "common/terminal.hpp"
#include "ports/run/host.hpp"
#include "ports/run/private_directory.hpp"
#include "ports/run/socket.hpp"

namespace sim {

namespace {

namespace fs = std::filesystem;

int runCommand(EventLoop& loop, const std::string& socket, const std::vector<std::string>& command)
{
    // Behind what is preloaded already: a recorder must see what programs ask of our library.
    const auto environment =
        child_process::environmentWith(child_process::preloadLibrary(TARVIX_SIM_LIBRARY, TARVIX_SIM_LIBRARY_DIRECTORY),
                                       child_process::Order::LAST, SOCKET_VARIABLE, socket);
    pid_t child = -1;
    int status = 0;
    loop.onSignals({SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP}, [&](const signalfd_siginfo& signal) {
        if (child_process::mustForward(signal)) {
            ::kill(child, static_cast<int>(signal.ssi_signo));
        } else if (::waitpid(child, &status, WNOHANG) == child) {
            loop.stop();
        }
    });
    if (const int error = child_process::start(command, environment, loop.originalSignalMask(), child)) {
        terminal::tell(fmt::format("tarvix-sim: cannot run {}: {}", command[0], std::strerror(error)));
        return child_process::statusOfError(error);
    }
    loop.run();
    return child_process::statusOf(status);
}

// The name that the user gave to the socket in the private directory, as long as this object lives.
class SocketLink {
public:
    SocketLink(const fs::path& path, const std::string& socket) : path_(path), socket_(socket)
    {
        std::error_code error;
        if (fs::is_symlink(path, error)) {
            replaceable();
            fs::remove(path, error);
        }
        fs::create_symlink(socket, path, error);
        if (error) {
            throw std::runtime_error(fmt::format("cannot make {}: {}", path.string(), error.message()));
        }
    }
    ~SocketLink()
    {
        std::error_code gone;
        if (fs::read_symlink(path_, gone) == socket_) {
            fs::remove(path_, gone);
        }
    }
    SocketLink(const SocketLink&) = delete;
    SocketLink& operator=(const SocketLink&) = delete;

private:
    // Refuses what is in use, or was never ours.
    void replaceable() const
    {
        std::error_code error;
        const fs::path target = fs::read_symlink(path_, error);
        if (connectTo(target)) {
            throw std::runtime_error(fmt::format("another tarvix-sim serves at {}", path_.string()));
        }
        if (target.filename() != SOCKET_NAME) {
            throw std::runtime_error(fmt::format("{} leads to {}, not to a socket of tarvix-sim: remove it or choose "
                                                 "another name",
                                                 path_.string(), target.string()));
        }
    }

    const fs::path path_;
    const fs::path socket_;
};

} // namespace

int runPort(const HostOptions& options, const std::vector<std::string>& command)
{
    const PrivateDirectory directory;
    EventLoop loop;
    RunHost host(loop, options, directory.path());
    return runCommand(loop, directory.path() + '/' + SOCKET_NAME, command);
}

int connectPort(const std::string& socket, const std::vector<std::string>& command)
{
    const std::string path = realSocket(socket);
    if (!connectTo(path)) {
        throw std::runtime_error(
            fmt::format("nobody serves at {0}: start 'tarvix-sim serve --socket {0}' first", socket));
    }
    EventLoop loop;
    return runCommand(loop, path, command);
}

int servePort(const HostOptions& options, const std::string& socket)
{
    const PrivateDirectory directory;
    EventLoop loop;
    loop.onSignals({SIGINT, SIGTERM, SIGHUP}, [&](const signalfd_siginfo&) { loop.stop(); });
    RunHost host(loop, options, directory.path());
    const SocketLink link(socket, directory.path() + '/' + SOCKET_NAME);
    std::string serialNumbers;
    for (const AdapterBoard& adapter : options.adapters) {
        serialNumbers += (serialNumbers.empty() ? "" : ", ") + adapter.serialNumber;
    }
    std::puts(fmt::format("tarvix-sim: serves {} at {}", serialNumbers, socket).c_str());
    std::fflush(stdout);
    loop.run();
    return 0;
}

} // namespace sim
