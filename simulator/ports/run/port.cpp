// `tarvix-sim run`: adapters for one command and everything that it starts. `tarvix-sim serve`: adapters for commands
// that are run with --connect.
#include "ports/port.hpp"

#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>

#include "ports/run/command.hpp"
#include "ports/run/host.hpp"
#include "ports/run/private_directory.hpp"
#include "ports/run/socket.hpp"
#include "ports/run/virtual_adapters.hpp"

namespace sim {

namespace {

namespace fs = std::filesystem;

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
    VirtualAdapters adapters(options);
    RunHost host(loop, adapters, directory.path());
    return Command(loop).run(directory.path() + '/' + SOCKET_NAME, command);
}

int connectPort(const std::string& socket, const std::vector<std::string>& command)
{
    const std::string path = realSocket(socket);
    if (!connectTo(path)) {
        throw std::runtime_error(
            fmt::format("nobody serves at {0}: start 'tarvix-sim serve --socket {0}' first", socket));
    }
    EventLoop loop;
    return Command(loop).run(path, command);
}

int servePort(const HostOptions& options, const std::string& socket)
{
    const PrivateDirectory directory;
    EventLoop loop;
    loop.onSignals({SIGINT, SIGTERM, SIGHUP}, [&](const signalfd_siginfo&) { loop.stop(); });
    VirtualAdapters adapters(options);
    RunHost host(loop, adapters, directory.path());
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
