// The preloaded library under a host that answers anything, seen through hidapi's functions.
#include <hidapi.h>
#include <memory>
#include <mutex>
#include <poll.h>
#include <thread>

#include "fuzz.hpp"
#include "ports/run/preload/client.hpp"
#include "ports/run/private_directory.hpp"

namespace {

const std::string& directory()
{
    static const sim::PrivateDirectory directory;
    return directory.path();
}

// The preloaded library looks when it is loaded.
__attribute__((constructor(101))) void setVariable()
{
    ::setenv(sim::SOCKET_VARIABLE, (directory() + '/' + sim::SOCKET_NAME).c_str(), 1);
}

std::mutex mutex;
std::vector<Bytes> messages; // the first is said last

void sayNext(const sim::FileDescriptor& connection)
{
    const std::lock_guard lock(mutex);
    if (!messages.empty()) {
        ::send(connection.get(), messages.back().data(), messages.back().size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        messages.pop_back();
    }
}

// Says one message to each connection, and to a handle one more, its report. Then it is gone.
void host(const sim::FileDescriptor& requests, const sim::FileDescriptor& handles)
{
    while (true) {
        pollfd listeners[]{{requests.get(), POLLIN, 0}, {handles.get(), POLLIN, 0}};
        ::poll(listeners, 2, -1);
        const bool asks = listeners[0].revents != 0;
        const sim::FileDescriptor connection(::accept(asks ? requests.get() : handles.get(), nullptr, nullptr));
        sayNext(connection);
        asks ? void() : sayNext(connection);
    }
}

// The path of its node.
const std::string& startedHost()
{
    static const std::string node = directory() + "/hidraw0";
    static std::thread thread(host, sim::listenOn(directory() + '/' + sim::SOCKET_NAME),
                              sim::listenOn(node + sim::NODE_SOCKET_SUFFIX));
    thread.joinable() ? thread.detach() : void();
    return node;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string& node = startedHost();
    fuzz::Input input(data, size);
    {
        const std::lock_guard lock(mutex);
        messages.clear();
        while (!input.empty() && messages.size() < 8) {
            messages.insert(messages.begin(), input.counted());
        }
    }
    hid_device_info* const devices = hid_enumerate(0, 0);
    for (const hid_device_info* info = devices; info != nullptr; info = info->next) {
        fuzz::require(info->path != nullptr && info->serial_number != nullptr, "no text is null");
    }
    hid_free_enumeration(devices);
    if (hid_device* const device = hid_open_path(node.c_str())) {
        const auto report = std::make_unique<std::uint8_t[]>(64);
        fuzz::require(hid_read_timeout(device, report.get(), 64, 0) <= 64, "no more than there is room for");
        hid_write(device, Bytes(65).data(), 65);
        hid_close(device);
    }
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    const auto saying = [](const sim::Fields& fields) { return counted(bytesOf(sim::joinFields(fields))); };
    const Bytes list = saying({sim::OK, startedHost(), "33532", "64", "TVX0000001"});
    return {list + saying({sim::OK}) + counted({1, 2, 3, 4, 5, 6, 7, 8}) + list, saying({"no"}), saying({sim::OK}),
            saying({sim::OK, "/", "99999", "x", "\xFF\xFE"})};
}
