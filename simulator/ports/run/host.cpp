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
    const auto& adapter = node.adapter();
    return {node.path(), std::to_string(productId(adapter.reportSize())), std::to_string(adapter.reportSize()),
            adapter.serialNumber()};
}

} // namespace

RunHost::RunHost(EventLoop& loop, const HostOptions& options, const std::string& directory) : loop_(loop)
{
    const std::string path = directory + '/' + SOCKET_NAME;
    FileDescriptor socket = listenOn(path);
    if (!socket) {
        throw std::runtime_error(fmt::format("cannot listen on {}: {}", path, std::strerror(errno)));
    }
    for (std::size_t index = 0; index < options.adapters.size(); ++index) {
        nodes_.push_back(
            std::make_unique<RunNode>(loop, options, index, directory,
                                      [this](const RunNode& node, const char* event) { tellWatchers(node, event); }));
        nodes_.back()->adapter().plugIn();
    }
    listener_.emplace(loop, std::move(socket), [this](FileDescriptor connection) { accept(std::move(connection)); });
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
    const auto size = receiveMessage(descriptor, message.data(), message.size(), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    loop_.forget(descriptor);
    FileDescriptor connection = std::move(newcomers_[descriptor]);
    newcomers_.erase(descriptor);
    if (size > 0) {
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
    } else if (verb == "trigger" && purpose.size() >= 3) {
        sendFields(connection, trigger(purpose[1], purpose[2], {purpose.begin() + 3, purpose.end()}), MSG_DONTWAIT);
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

Fields RunHost::trigger(const std::string& event, const std::string& name, const Fields& arguments)
{
    auto node =
        std::ranges::find(nodes_, name, [](const auto& candidate) { return candidate->adapter().serialNumber(); });
    if (const auto index = numberIn<std::size_t>(name); node == nodes_.end() && index && *index < nodes_.size()) {
        node = nodes_.begin() + static_cast<std::ptrdiff_t>(*index);
    }
    if (node == nodes_.end()) {
        return {
            fmt::format("no adapter '{}': give a serial number, or an index from 0 to {}", name, nodes_.size() - 1)};
    }
    AdapterHost& adapter = (*node)->adapter();
    if (event == "replug") {
        adapter.plugIn();
        return {OK};
    }
    if (!adapter.isPresent()) {
        return {fmt::format("adapter {} is not plugged in: try 'tarvix-sim trigger replug'", adapter.serialNumber())};
    }
    if (event == "unplug") {
        adapter.pullOut();
        return {OK};
    }
    std::vector<std::size_t> numbers;
    std::ranges::transform(arguments, std::back_inserter(numbers),
                           [](const auto& text) { return numberIn<std::size_t>(text).value_or(0); });
    if (numbers.empty()) {
        return {"no target given"};
    }
    const Frame payload(numbers.begin() + 1, numbers.end());
    if (event == "ibi" && !adapter.raiseInBandInterrupt(numbers[0], payload)) {
        return {fmt::format("target {} of adapter {} cannot interrupt now: no such target, no dynamic address, or "
                            "interrupts disabled",
                            numbers[0], adapter.serialNumber())};
    }
    if (event == "hot-join" && !adapter.raiseHotJoin(numbers[0])) {
        return {fmt::format("target {} of adapter {} cannot join now: no such target, already on the bus, or hot-joins "
                            "disabled",
                            numbers[0], adapter.serialNumber())};
    }
    return {OK};
}

} // namespace sim
