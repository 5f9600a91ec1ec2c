// Programs that say anything under `tarvix-sim run`: purposes to the host, over sockets, and reports to an adapter.
#include "ports/run/host.hpp"
#include "fuzz.hpp"
#include "ports/run/private_directory.hpp"
#include "ports/run/virtual_adapters.hpp"

static sim::EventLoop loop;

static const sim::HostOptions& onDefaultBoard()
{
    static const sim::HostOptions options{.adapters = sim::defaultBoard()};
    return options;
}

static std::unique_ptr<sim::RunHost> newHost()
{
    ::setenv("XDG_RUNTIME_DIR", "/dev/shm", 1); // a disk would take most of the time
    static const sim::PrivateDirectory directory;
    static std::optional<sim::VirtualAdapters> adapters;
    adapters.emplace(onDefaultBoard());
    std::remove((directory.path() + '/' + sim::SOCKET_NAME).c_str());
    return std::make_unique<sim::RunHost>(loop, *adapters, directory.path());
}

// Over a connection of its own. Returns whether the answer is consent.
static bool ask(sim::RunHost& host, const Bytes& purpose)
{
    int ends[2];
    fuzz::require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends) == 0, "there are sockets");
    const FileDescriptor program(ends[0]);
    purpose.empty() ? 0 : ::send(program.get(), purpose.data(), purpose.size(), MSG_NOSIGNAL);
    host.accept(FileDescriptor(ends[1]));
    loop.after({}, [] { loop.stop(); });
    loop.run();
    char text[4];
    const auto size = ::recv(program.get(), text, sizeof text, 0);
    return size > 0 && sim::splitFields({text, static_cast<std::size_t>(size)}).front() == sim::OK;
}

// The program's end of a node; the sockets between would take most of the time.
class Node final : public sim::Cable {
public:
    void plugIn() override {}
    void pullOut() override {}
    bool accepts() override { return true; }
    void carry(std::span<const std::uint8_t> report) override { fuzz::require(report.size() == 64, "a whole report"); }
};

// Messages, each to an adapter or to the host, which lives until a request may have changed its bench.
void fuzz::run(Input input)
{
    static auto host = newHost();
    Node node;
    sim::AdapterHost adapter(loop, onDefaultBoard(), {}, 0, node);
    adapter.plugIn();
    bool changed = false;
    for (int messages = 0; !input.empty() && messages < 16; ++messages) {
        const bool isReport = input.u8() % 4 == 3;
        const Bytes message = input.counted();
        if (isReport) {
            adapter.outputReport(message);
        } else if (ask(*host, message) && message[0] == 'c') {
            changed = true;
        }
    }
    if (changed) {
        host.reset();
        host = newHost();
    }
}
