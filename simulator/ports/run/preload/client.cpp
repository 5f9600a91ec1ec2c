#include "ports/run/preload/client.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <poll.h>

namespace sim {

namespace {

constexpr int PATIENCE_MS = 5'000; // as the kernel's for a device that takes nothing

// Neither made nor destroyed like other objects, because functions of the C library that ask for it are called earlier
// and later than that: until it is known they behave as without a host.
constinit std::array<char, sizeof(sockaddr_un::sun_path)> directory{};
constinit std::size_t directorySize = 0;

void useSocket(std::string_view socket)
{
    const auto slash = socket.rfind('/');
    directorySize = slash != socket.npos && slash < directory.size() ? slash : 0;
    socket.copy(directory.data(), directorySize);
}

__attribute__((constructor)) void findDirectory()
{
    const char* const variable = std::getenv(SOCKET_VARIABLE);
    useSocket(variable ? variable : "");
}

std::string inDirectory(const char* name)
{
    return std::string(privateDirectory()) + '/' + name;
}

// The path that the other end of a socket was bound to; empty for anything else.
std::string peerOf(int descriptor)
{
    sockaddr_un address{};
    socklen_t size = sizeof address;
    const bool found = ::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    return found && address.sun_family == AF_UNIX
               ? std::string(address.sun_path, ::strnlen(address.sun_path, sizeof address.sun_path))
               : std::string();
}

// The fields that follow OK.
std::optional<Fields> ask(FileDescriptor& connection, const Fields& purpose)
{
    auto answer = askHost(connection, inDirectory(SOCKET_NAME), purpose);
    if (!answer || answer->empty() || answer->front() != OK) {
        return std::nullopt;
    }
    answer->erase(answer->begin());
    return answer;
}

} // namespace

// For a program that loads this library itself and has one host after another. Not while adapters are open, or looked
// for on other threads.
extern "C" __attribute__((visibility("default"))) void tarvixsim_use(const char* socket)
{
    useSocket(socket);
}

std::string_view privateDirectory()
{
    return {directory.data(), directorySize};
}

bool hasHost()
{
    return !privateDirectory().empty();
}

Adapter adapterFrom(const std::string* fields)
{
    return {
        .path = fields[AdapterRecord::PATH],
        .productId = numberIn<std::uint16_t>(fields[AdapterRecord::PRODUCT_ID]).value_or(0),
        .reportSize = numberIn<std::size_t>(fields[AdapterRecord::REPORT_SIZE]).value_or(0),
        .serialNumber = fields[AdapterRecord::SERIAL_NUMBER],
        .manufacturer = fields[AdapterRecord::MANUFACTURER],
        .product = fields[AdapterRecord::PRODUCT],
    };
}

std::optional<std::vector<Adapter>> listAdapters()
{
    FileDescriptor connection;
    const auto fields = ask(connection, {"list"});
    if (!fields) {
        return std::nullopt;
    }
    std::vector<Adapter> adapters;
    for (std::size_t i = 0; i + AdapterRecord::FIELD_COUNT <= fields->size(); i += AdapterRecord::FIELD_COUNT) {
        adapters.push_back(adapterFrom(&(*fields)[i]));
    }
    return adapters;
}

std::optional<Adapter> adapterAt(std::string_view path)
{
    const auto adapters = listAdapters().value_or(std::vector<Adapter>{});
    const auto found = std::ranges::find(adapters, path, &Adapter::path);
    return found == adapters.end() ? std::nullopt : std::optional(*found);
}

FileDescriptor watchAdapters()
{
    FileDescriptor connection;
    if (!ask(connection, {"watch"})) {
        return {};
    }
    waitWithoutLimit(connection);
    return connection;
}

bool isConnectionToHost(int descriptor)
{
    return hasHost() && peerOf(descriptor) == inDirectory(SOCKET_NAME);
}

std::optional<unsigned> nodeNumber(std::string_view path)
{
    if (!hasHost() || !path.starts_with(privateDirectory())) {
        return std::nullopt;
    }
    path.remove_prefix(directorySize);
    const std::string_view name(NODE_NAME);
    if (!path.starts_with('/') || !path.substr(1).starts_with(name)) {
        return std::nullopt;
    }
    return numberIn<unsigned>(path.substr(1 + name.size()));
}

FileDescriptor openNode(std::string_view path)
{
    if (!nodeNumber(path)) {
        return {};
    }
    FileDescriptor handle = connectTo(std::string(path) + NODE_SOCKET_SUFFIX);
    // Answered when the host has added the handle: from then on it gets every report.
    if (!handle || !receiveFields(handle.get())) {
        return {};
    }
    waitWithoutLimit(handle);
    return handle;
}

std::optional<std::string> nodeOf(int descriptor)
{
    std::string path = hasHost() ? peerOf(descriptor) : std::string();
    if (!path.ends_with(NODE_SOCKET_SUFFIX)) {
        return std::nullopt;
    }
    path.resize(path.size() - std::strlen(NODE_SOCKET_SUFFIX));
    return nodeNumber(path) ? std::optional(path) : std::nullopt;
}

ssize_t writeReport(int handle, const void* data, std::size_t size)
{
    if (size < 2 || size > LARGEST_OUTPUT_REPORT) {
        errno = EINVAL;
        return -1;
    }
    while (true) {
        const auto sent = ::send(handle, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            return sent;
        }
        if (errno == EAGAIN) {
            pollfd writable{handle, POLLOUT, 0};
            const int ready = ::poll(&writable, 1, PATIENCE_MS);
            if (ready > 0) {
                continue;
            }
            errno = ready == 0 ? ETIMEDOUT : errno;
        } else if (errno == EPIPE || errno == ECONNRESET) {
            errno = ENODEV;
        }
        return -1;
    }
}

} // namespace sim
