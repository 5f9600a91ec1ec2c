// `tarvix-sim trigger`: raises an event on an adapter of the `tarvix-sim run` around it.
#include "ports/port.hpp"

#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <stdexcept>

#include "ports/run/socket.hpp"

namespace sim {

int trigger(const std::string& event, const std::string& adapter, const std::vector<std::string>& fields)
{
    const char* path = std::getenv(SOCKET_VARIABLE);
    if (!path) {
        throw std::runtime_error("trigger works only inside 'tarvix-sim run': try 'tarvix-sim run -- bash'");
    }
    Fields message{"trigger", event, adapter};
    message.insert(message.end(), fields.begin(), fields.end());
    FileDescriptor connection;
    const auto answer = askHost(connection, path, message);
    if (!answer || answer->empty()) {
        throw std::runtime_error(errno == EAGAIN
                                     ? fmt::format("tarvix-sim is stopped or busy: no answer on {} for {} s", path,
                                                   PATIENCE_WITH_HOST.tv_sec)
                                     : fmt::format("tarvix-sim has ended: nobody answers on {}", path));
    }
    if (answer->front() != OK) {
        throw std::runtime_error(answer->front());
    }
    return 0;
}

} // namespace sim
