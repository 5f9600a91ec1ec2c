// `tarvix-sim run`: adapters for one command and everything that it starts. `tarvix-sim serve`: adapters for commands
// that are run with --connect.
//
// The command gets the environment variables LD_PRELOAD, so that a library of ours answers what it asks of hidapi,
// libudev and hidraw, and TARVIX_SIM_SOCKET, where that library finds this host.
#include "ports/port.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>

#include "common/terminal.hpp"
#include "ports/run/host.hpp"
#include "ports/run/private_directory.hpp"
#include "ports/run/socket.hpp"

namespace sim {

namespace {

namespace fs = std::filesystem;

constexpr int STATUS_NOT_EXECUTABLE = 126;
constexpr int STATUS_NOT_FOUND = 127;
constexpr int STATUS_SIGNALLED = 128;

// Beside the program in the build tree, in its private directory once installed.
std::string preloadLibrary()
{
    const auto home = fs::read_symlink("/proc/self/exe").parent_path();
    for (const auto& directory : {home, home / TARVIX_SIM_LIBRARY_DIRECTORY}) {
        const auto library = directory / TARVIX_SIM_LIBRARY;
        if (!fs::exists(library)) {
            continue;
        }
        auto path = fs::canonical(library).string();
        if (path.find_first_of(" :") != std::string::npos) {
            throw std::runtime_error(fmt::format(
                "cannot preload {}: the dynamic loader splits paths at spaces and colons; move it to one without",
                path));
        }
        return path;
    }
    throw std::runtime_error(fmt::format("{} is missing: it belongs beside {} or in {}", TARVIX_SIM_LIBRARY,
                                         (home / "tarvix-sim").string(),
                                         (home / TARVIX_SIM_LIBRARY_DIRECTORY).lexically_normal().string()));
}

// Ours with two more variables. Ours stays as it is, for the programs of devices.
std::vector<std::string> commandEnvironment(const std::string& socketPath)
{
    const std::string preload = "LD_PRELOAD=";
    const std::string socket = fmt::format("{}=", SOCKET_VARIABLE);
    std::vector<std::string> variables{preload + preloadLibrary(), socket + socketPath};
    for (char** variable = environ; *variable; ++variable) {
        const std::string_view ours = *variable;
        if (ours.starts_with(preload) && ours != preload) {
            variables[0] += fmt::format(":{}", ours.substr(preload.size()));
        } else if (!ours.starts_with(preload) && !ours.starts_with(socket)) {
            variables.emplace_back(ours);
        }
    }
    return variables;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    std::ranges::transform(texts, std::back_inserter(pointers),
                           [](const std::string& text) { return const_cast<char*>(text.c_str()); });
    pointers.push_back(nullptr);
    return pointers;
}

// 0 or the error number. The command stays in our process group: what the terminal sends, it gets itself.
int spawn(const std::vector<std::string>& command, const std::vector<std::string>& environment,
          const sigset_t& signalMask, pid_t& child)
{
    const auto arguments = pointersTo(command);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigmask(&attributes, &signalMask);
    sigset_t defaults;
    ::sigemptyset(&defaults);
    if (!terminal::inheritedIgnoredSigpipe()) {
        ::sigaddset(&defaults, SIGPIPE);
    }
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error =
        ::posix_spawnp(&child, arguments[0], nullptr, &attributes, arguments.data(), pointersTo(environment).data());
    ::posix_spawnattr_destroy(&attributes);
    return error;
}

// A signal from the terminal reaches the command without us, as it goes to the whole process group.
bool mustForward(const signalfd_siginfo& signal)
{
    return signal.ssi_signo != SIGCHLD && signal.ssi_code != SI_KERNEL;
}

int runCommand(EventLoop& loop, const std::string& socket, const std::vector<std::string>& command)
{
    const auto environment = commandEnvironment(socket);
    pid_t child = -1;
    int status = 0;
    loop.onSignals({SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP}, [&](const signalfd_siginfo& signal) {
        if (mustForward(signal)) {
            ::kill(child, static_cast<int>(signal.ssi_signo));
        } else if (::waitpid(child, &status, WNOHANG) == child) {
            loop.stop();
        }
    });
    if (const int error = spawn(command, environment, loop.originalSignalMask(), child)) {
        terminal::tell(fmt::format("tarvix-sim: cannot run {}: {}", command[0], std::strerror(error)));
        return error == ENOENT ? STATUS_NOT_FOUND : STATUS_NOT_EXECUTABLE;
    }
    loop.run();
    return WIFSIGNALED(status) ? STATUS_SIGNALLED + WTERMSIG(status) : WEXITSTATUS(status);
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
