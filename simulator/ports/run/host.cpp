#include "ports/run/host.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/epoll.h>

#include "ports/shared/identity.hpp"

namespace sim {

namespace {

Fields record(const RunNode& node)
{
    const UsbIdentity& adapter = node.adapter().identity();
    return {node.path(),
            std::to_string(productId(adapter.reportSize)),
            std::to_string(adapter.reportSize),
            adapter.serialNumber,
            adapter.manufacturer,
            adapter.product};
}

} // namespace

RunHost::RunHost(EventLoop& loop, AdapterSource& source, const std::string& directory) : loop_(loop), source_(source)
{
    const std::string path = directory + '/' + SOCKET_NAME;
    FileDescriptor socket = listenOn(path);
    if (!socket) {
        throw std::runtime_error(fmt::format("cannot listen on {}: {}", path, std::strerror(errno)));
    }
    for (const UsbIdentity& identity : source.identities()) {
        nodes_.push_back(
            std::make_unique<RunNode>(loop, source, identity, nodes_.size(), directory,
                                      [this](const RunNode& node, const char* event) { tellWatchers(node, event); }));
        nodes_.back()->adapter().plugIn();
    }
    listener_.emplace(loop, std::move(socket), [this](FileDescriptor connection) { accept(std::move(connection)); });
}

void RunHost::drain()
{
    std::ranges::for_each(nodes_, [](const auto& node) { node->drain(); });
}

void RunHost::accept(FileDescriptor connection)
{
    const int descriptor = connection.get();
    newcomers_[descriptor] = std::move(connection);
    loop_.watch(descriptor, EPOLLIN, [this, descriptor](std::uint32_t) { receivePurpose(descriptor); });
}

void RunHost::receivePurpose(int descriptor)
{
    std::array<char, LARGEST_MESSAGE> message;
    const auto size = receiveMessage(descriptor, message.data(), message.size(), MSG_DONTWAIT | MSG_TRUNC);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    loop_.forget(descriptor);
    FileDescriptor connection = std::move(newcomers_[descriptor]);
    newcomers_.erase(descriptor);
    if (size > static_cast<ssize_t>(message.size())) {
        sendFields(connection, {fmt::format("{} bytes are more than the {} of a message", size, LARGEST_MESSAGE)},
                   MSG_DONTWAIT);
    } else if (size > 0) {
        serve(std::move(connection), splitFields({message.data(), static_cast<std::size_t>(size)}));
    }
}

void RunHost::serve(FileDescriptor connection, const Fields& purpose)
{
    const auto& verb = purpose.front();
    if (verb == "list") {
        sendFields(connection, list(), MSG_DONTWAIT);
    } else if (verb == "watch") {
        sendFields(connection, {OK}, MSG_DONTWAIT);
        addWatcher(std::move(connection));
    } else if (verb == "control" && purpose.size() == 2) {
        sendFields(connection, control(purpose[1]), MSG_DONTWAIT);
    }
}

Fields RunHost::list() const
{
    Fields fields{OK};
    for (const auto& node : nodes_) {
        if (node->adapter().isPresent()) {
            std::ranges::move(record(*node), std::back_inserter(fields));
        }
    }
    return fields;
}

void RunHost::addWatcher(FileDescriptor connection)
{
    const int descriptor = connection.get();
    watchers_[descriptor] = std::move(connection);
    loop_.watch(descriptor, EPOLLIN, [this, descriptor](std::uint32_t) { // says nothing more, so it has gone
        loop_.forget(descriptor);
        watchers_.erase(descriptor);
    });
}

void RunHost::tellWatchers(const RunNode& node, const char* event)
{
    Fields fields = record(node);
    fields.insert(fields.begin(), event);
    for (const auto& [descriptor, connection] : watchers_) {
        sendFields(connection, fields, MSG_DONTWAIT);
    }
}

Fields RunHost::control(const std::string& request)
{
    try {
        Fields answer{OK, source_.control(request)};
        if (joinFields(answer).size() >= LARGEST_MESSAGE) {
            return {fmt::format("the answer is longer than the {} bytes of a message", LARGEST_MESSAGE)};
        }
        return answer;
    } catch (const std::exception& error) {
        return {error.what()};
    }
}

} // namespace sim
