// The sockets between tarvix-sim and the programs that it runs: SOCK_SEQPACKET, so a message arrives whole or not at
// all. The first message to the host's own socket says what the connection is for; its fields are texts that end with a
// zero byte:
//
//   list                              answer: OK, then an AdapterRecord for each adapter that is present
//   watch                             answer: OK; from then on ADDED or REMOVED, AdapterRecord when one comes or goes
//   control JSON                      answer: OK and JSON, or one field that says why not; docs/bench-control.md
//
// A connection to the socket beside a node opens the adapter. It gets OK, and from then on each message is one report,
// both ways, until the host closes it when the adapter is unplugged.
#pragma once

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <system_error>
#include <vector>

#include "common/file_descriptor.hpp"

namespace sim {

inline constexpr const char* SOCKET_VARIABLE = "TARVIX_SIM_SOCKET"; // holds the socket's path
inline constexpr const char* SOCKET_NAME = "socket";                // in the private directory
inline constexpr const char* NODE_NAME = "hidraw";                  // there, with a number
inline constexpr const char* NODE_SOCKET_SUFFIX = ".socket";        // after the name of a node
inline constexpr const char* LONGEST_NAME = "hidraw127.socket";
inline constexpr const char* OK = "ok";
inline constexpr const char* ADDED = "add"; // as udev calls it
inline constexpr const char* REMOVED = "remove";
inline constexpr timeval PATIENCE_WITH_HOST{5, 0}; // which may be stopped
inline constexpr std::size_t LARGEST_MESSAGE = 64 * 1024;
inline constexpr std::size_t LARGEST_OUTPUT_REPORT = 16 * 1024; // as much as hidraw takes

using Fields = std::vector<std::string>;

inline std::string joinFields(const Fields& fields)
{
    std::string message;
    for (const auto& field : fields) {
        message += field;
        message += '\0';
    }
    return message;
}

inline Fields splitFields(std::string_view message)
{
    Fields fields;
    while (!message.empty()) {
        const auto end = std::min(message.find('\0'), message.size());
        fields.emplace_back(message.substr(0, end));
        message.remove_prefix(std::min(end + 1, message.size()));
    }
    return fields;
}

// The decimal number that is the whole text; nothing when it is none.
template <typename Number>
std::optional<Number> numberIn(std::string_view text)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// Fields of one adapter, in this order; numbers are decimal.
struct AdapterRecord {
    enum Field { PATH, PRODUCT_ID, REPORT_SIZE, SERIAL_NUMBER, MANUFACTURER, PRODUCT, FIELD_COUNT };
};

// Nothing, with errno, when the path is too long for a socket.
inline std::optional<sockaddr_un> socketAddress(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

// Where the socket is that a link leads to: its path is short, and programs compare it.
inline std::string realSocket(const std::string& path)
{
    std::error_code missing;
    const auto real = std::filesystem::canonical(path, missing);
    return missing ? path : real.string();
}

inline void limitWaits(const FileDescriptor& socket, const timeval& limit)
{
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

inline void waitWithoutLimit(const FileDescriptor& socket)
{
    limitWaits(socket, {});
}

// Repeats a system call that a signal interrupted; a program may have signals faster than the patience ends.
template <typename Call>
auto untilDone(Call call)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(PATIENCE_WITH_HOST.tv_sec);
    auto result = call();
    while (result < 0 && errno == EINTR && std::chrono::steady_clock::now() < end) {
        result = call();
    }
    return result;
}

// Invalid, with errno, when nobody listens there. No wait on the connection takes longer than the patience.
inline FileDescriptor connectTo(const std::string& path)
{
    const auto address = socketAddress(path);
    FileDescriptor socket(address ? ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0) : -1);
    if (!socket) {
        return socket;
    }
    limitWaits(socket, PATIENCE_WITH_HOST);
    const auto connect = [&] {
        return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
    };
    if (untilDone(connect) != 0) {
        socket.reset();
    }
    return socket;
}

// Listens without blocking, to this user only; invalid, with errno, when it cannot.
inline FileDescriptor listenOn(const std::string& path)
{
    FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address = socketAddress(path);
    if (!socket || !address || ::fchmod(socket.get(), 0600) ||
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) ||
        ::listen(socket.get(), SOMAXCONN)) {
        socket.reset();
    }
    return socket;
}

inline bool sendFields(const FileDescriptor& socket, const Fields& fields, int flags = 0)
{
    const std::string message = joinFields(fields);
    return ::send(socket.get(), message.data(), message.size(), MSG_NOSIGNAL | flags) >= 0;
}

// recv, which returns 0 once the other end has closed. A message sent just before that may still be queued: the kernel
// looks at the queue first and for the close second, and when the other end left messages unread it reports ECONNRESET
// before it hands out ours. The second call returns the message.
inline ssize_t receiveMessage(int socket, void* data, std::size_t size, int flags)
{
    const ssize_t count = ::recv(socket, data, size, flags);
    return count == 0 || (count < 0 && errno == ECONNRESET) ? ::recv(socket, data, size, MSG_DONTWAIT) : count;
}

// The next message; nothing, with errno, when the other end is gone (errno 0) or has not sent it in time (EAGAIN).
inline std::optional<Fields> receiveFields(int socket)
{
    std::string message(LARGEST_MESSAGE, '\0');
    const auto size = untilDone([&] { return receiveMessage(socket, message.data(), message.size(), 0); });
    if (size <= 0) {
        errno = size == 0 ? 0 : errno;
        return std::nullopt;
    }
    message.resize(static_cast<std::size_t>(size));
    return splitFields(message);
}

// The host's answer to a purpose, over a new connection; nothing when there is no host.
inline std::optional<Fields> askHost(FileDescriptor& connection, const std::string& path, const Fields& purpose)
{
    connection = connectTo(path);
    return connection && sendFields(connection, purpose) ? receiveFields(connection.get()) : std::nullopt;
}

} // namespace sim
