// The device node of one adapter under `tarvix-sim run`: its open handles, each a connection to some program.
#pragma once

#include <map>

#include "ports/shared/adapter_host.hpp"
#include "ports/shared/file_descriptor.hpp"

namespace sim {

// Behaves as Linux's hidraw does: every input report goes to each open handle, which keeps 63 unread ones and loses
// the next; without a handle reports are lost; handles of an adapter that vanished are dead for good.
//
// Its path names an empty file that exists while the adapter does, for programs that lock the adapter.
//
// Unlike the kernel's, the virtual bus is as fast as memory. So that a long response reaches a reader that is merely
// slower than that, a full handle holds the adapter back for a moment before it begins to lose reports.
class RunNode final : public Cable {
public:
    RunNode(EventLoop& loop, const HostOptions& options, std::size_t index, const std::string& directory);
    ~RunNode() override;

    const std::string& path() const { return path_; }
    AdapterHost& adapter() { return adapter_; }

    // Adds a handle that has been answered already.
    void open(FileDescriptor connection);

    void plugIn() override;
    void pullOut() override;
    bool accepts() override;
    void carry(std::span<const std::uint8_t> report) override;

private:
    struct Handle {
        FileDescriptor connection;
        enum { TAKES, FULL, STUCK } state = TAKES; // STUCK: full, and no longer waited for
        EventLoop::Timer patience{};
    };

    void serve(int descriptor, std::uint32_t events);
    bool receive(int descriptor);
    void becomeFull(int descriptor, Handle& handle);
    void close(int descriptor);
    bool hasRoom(const Handle& handle) const;

    EventLoop& loop_;
    const std::string path_;
    const int bytesOfOneReport_; // as the kernel accounts for them
    std::map<int, Handle> handles_;
    AdapterHost adapter_; // last: its end pulls on nothing above
};

} // namespace sim
