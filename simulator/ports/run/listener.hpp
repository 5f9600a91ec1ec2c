// A socket that takes connections from the programs under `tarvix-sim run`.
#pragma once

#include <functional>
#include <string>

#include "common/file_descriptor.hpp"
#include "ports/shared/event_loop.hpp"

namespace sim {

class Listener {
public:
    using Accepted = std::function<void(FileDescriptor connection)>; // which does not block

    // Takes over a socket that listens.
    Listener(EventLoop& loop, FileDescriptor socket, Accepted accepted);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    void accept();
    void pause();

    EventLoop& loop_;
    const FileDescriptor socket_;
    const Accepted accepted_;
    EventLoop::Timer pauseEnd_{};
};

} // namespace sim
