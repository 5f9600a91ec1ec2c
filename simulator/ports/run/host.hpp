// The service behind the socket of `tarvix-sim run`: lists adapters, tells of those that come and go, and lets
// whoever asks act on the bench.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "ports/run/listener.hpp"
#include "ports/run/node.hpp"
#include "ports/run/socket.hpp"

namespace sim {

class RunHost {
public:
    // Listens on a socket in `directory`, and plugs in the adapters, whose nodes are there as well. The source outlives
    // it.
    RunHost(EventLoop& loop, AdapterSource& source, const std::string& directory);

    // Takes what programs have written before they ended.
    void drain();

    // Serves the program at the other end of a connection, which does not block.
    void accept(FileDescriptor connection);

private:
    void receivePurpose(int descriptor);
    void serve(FileDescriptor connection, const Fields& purpose);
    Fields list() const;
    void addWatcher(FileDescriptor connection);
    void tellWatchers(const RunNode& node, const char* event);
    Fields control(const std::string& request);

    EventLoop& loop_;
    AdapterSource& source_;
    std::optional<Listener> listener_;
    std::unordered_map<int, FileDescriptor> newcomers_; // connected, purpose not received yet
    std::unordered_map<int, FileDescriptor> watchers_;
    std::vector<std::unique_ptr<RunNode>> nodes_;
};

} // namespace sim
