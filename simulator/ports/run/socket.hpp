// The socket between tarvix-sim and the programs that it runs: SOCK_SEQPACKET, so a message arrives whole or not at
// all. The first message of a connection says what it is for; its fields are texts that end with a zero byte:
//
//   list                              answer: OK, then an AdapterRecord for each adapter that is present
//   open    PATH                      answer: OK, AdapterRecord; from then on each message is one report, both ways
//   trigger EVENT ADAPTER FIELD...    answer: OK
//
// Any other answer is one field that says why not. The host closes the connection of an open adapter when that is
// unplugged.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

#include "ports/shared/file_descriptor.hpp"

namespace sim {

inline constexpr const char* SOCKET_VARIABLE = "TARVIX_SIM_SOCKET"; // holds the socket's path
inline constexpr const char* SOCKET_NAME = "socket";                // of the file in the private directory
inline constexpr const char* LONGEST_NAME = "hidraw127.socket";     // there
inline constexpr const char* OK = "ok";
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

// Fields of one adapter, in this order; numbers are decimal.
struct AdapterRecord {
    enum Field { PATH, PRODUCT_ID, REPORT_SIZE, SERIAL_NUMBER, FIELD_COUNT };
};

// Nothing when the path is too long for a socket.
inline std::optional<sockaddr_un> socketAddress(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

// A connection to the host that has said what it is for; invalid when there is no host.
inline FileDescriptor connectToHost(const char* path, const Fields& purpose)
{
    FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const auto address = socketAddress(path);
    const std::string message = joinFields(purpose);
    if (!socket || !address || ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) ||
        ::send(socket.get(), message.data(), message.size(), MSG_NOSIGNAL) < 0) {
        socket.reset();
    }
    return socket;
}

// The host's answer; nothing when the host is gone.
inline std::optional<Fields> receiveFields(const FileDescriptor& socket)
{
    std::string message(LARGEST_MESSAGE, '\0');
    const auto size = ::recv(socket.get(), message.data(), message.size(), 0);
    if (size <= 0) {
        return std::nullopt;
    }
    message.resize(static_cast<std::size_t>(size));
    return splitFields(message);
}

} // namespace sim
