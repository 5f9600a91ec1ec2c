// The service behind the socket of `tarvix-sim run`: lists and opens the adapters, and lets things happen to them.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "run_node.hpp"
#include "socket.hpp"

namespace sim {

class RunHost {
public:
    // Listens on a socket named `socket` in `directory` and plugs in the adapters, whose nodes are there, too.
    RunHost(EventLoop& loop, const HostOptions& options, const std::string& directory);

private:
    void acceptConnections();
    void receivePurpose(int descriptor);
    void serve(FileDescriptor connection, const Fields& purpose);
    void open(FileDescriptor connection, const std::string& path);
    Fields list() const;
    Fields trigger(const std::string& event, const std::string& name, const Fields& arguments);

    EventLoop& loop_;
    FileDescriptor listener_;
    std::unordered_map<int, FileDescriptor> newcomers_; // have not said yet what they are for
    std::vector<std::unique_ptr<RunNode>> nodes_;
};

} // namespace sim
