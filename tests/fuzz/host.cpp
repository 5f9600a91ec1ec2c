// The sockets of `tarvix-sim run` and programs that say anything there: purposes to the host, reports to a node.
#include <memory>

#include "fuzz.hpp"
#include "golden/golden.hpp"
#include "ports/run/host.hpp"
#include "ports/run/private_directory.hpp"

namespace {

struct Bench {
    Bench() { say(node, {}); } // takes the answer that it is open
    ~Bench() { std::remove(socket.c_str()); }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    static const std::string& directory()
    {
        ::setenv("XDG_RUNTIME_DIR", "/dev/shm", 1); // a disk would take most of the time
        static const sim::PrivateDirectory directory;
        return directory.path();
    }

    std::string say(const sim::FileDescriptor& connection, const Bytes& message)
    {
        message.empty() ? 0 : ::send(connection.get(), message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        for (int round = 0; round < 2; ++round) { // the host takes the connection, then what it says
            loop.after({}, [this] { loop.stop(); });
            loop.run();
        }
        char text[4096];
        const auto size = ::recv(connection.get(), text, sizeof text, MSG_DONTWAIT);
        return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }

    const std::string socket = directory() + '/' + sim::SOCKET_NAME;
    sim::EventLoop loop;
    sim::RunHost host{loop, {}, directory()};
    const sim::FileDescriptor node = sim::connectTo(directory() + "/hidraw0" + sim::NODE_SOCKET_SUFFIX);
};

} // namespace

// Messages, each to the host or to the node. The bench lives until one has changed something.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static auto bench = std::make_unique<Bench>();
    fuzz::Input input(data, size);
    for (int messages = 0; !input.empty() && messages < 16; ++messages) {
        const bool toNode = input.u8() % 4 == 3;
        const Bytes message = input.counted();
        const std::string answer =
            toNode ? bench->say(bench->node, message) : bench->say(sim::connectTo(bench->socket), message);
        if (toNode ? !answer.empty() : message < Bytes{'w'} && sim::splitFields(answer) == sim::Fields{sim::OK}) {
            bench.reset();
            bench = std::make_unique<Bench>();
        }
    }
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    std::vector<Bytes> seeds;
    for (const std::string words : {"list", "watch", "trigger unplug 0", "trigger replug TVX0000001",
                                    "trigger ibi 0 1 255", "trigger hot-join 0 1"}) {
        Bytes message = bytesOf(words);
        std::ranges::replace(message, ' ', '\0');
        seeds.push_back(Bytes{0} + counted(message));
    }
    for (const golden::Row& row : golden::everyRow()) {
        const Bytes frame = hex("01 00 " + row.request);
        for (const sim::Report& report : sim::cutIntoReports(frame, 64)) {
            seeds.push_back(Bytes{3} + counted(Bytes{0} + report));
        }
    }
    return seeds;
}
