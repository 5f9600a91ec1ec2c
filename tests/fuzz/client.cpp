// The preloaded library under a host that answers anything, seen through hidapi's functions.
#include <hidapi.h>
#include <sys/socket.h>

#include "fuzz.hpp"
#include "ports/run/socket.hpp"

static const std::string NODE = "/tarvix/hidraw0";

// The preloaded library looks when it is loaded.
__attribute__((constructor(101))) static void setVariable()
{
    ::setenv(sim::SOCKET_VARIABLE, "/tarvix/socket", 1);
}

static std::vector<Bytes> messages; // the first is said last
static std::vector<FileDescriptor> hosts;

// Every connection leads to a host that says one message, and to a handle one more, its report. Then it says no more.
extern "C" int connect(int socket, const sockaddr* address, socklen_t)
{
    int ends[2];
    fuzz::require(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) == 0, "there are sockets");
    const FileDescriptor program(ends[0]);
    hosts.emplace_back(ends[1]);
    ::dup2(program.get(), socket);
    const bool isNode = reinterpret_cast<const sockaddr_un*>(address)->sun_path == NODE + sim::NODE_SOCKET_SUFFIX;
    for (int left = isNode ? 2 : 1; left > 0 && !messages.empty(); --left) {
        ::send(ends[1], messages.back().data(), messages.back().size(), 0);
        messages.pop_back();
    }
    return ::shutdown(ends[1], SHUT_WR);
}

void fuzz::run(Input input)
{
    for (messages.clear(); !input.empty() && messages.size() < 8;) {
        messages.insert(messages.begin(), input.counted());
    }
    hid_device_info* const devices = hid_enumerate(0, 0);
    for (const hid_device_info* info = devices; info != nullptr; info = info->next) {
        require(info->path != nullptr && info->serial_number != nullptr, "no text is null");
    }
    hid_free_enumeration(devices);
    if (hid_device* const device = hid_open_path(NODE.c_str())) {
        require(hid_read_timeout(device, Bytes(64).data(), 64, 0) <= 64, "no more than there is room for");
        hid_write(device, Bytes(65).data(), 65);
        hid_close(device);
    }
    hosts.clear();
}
