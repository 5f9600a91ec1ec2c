// The device node of one adapter under `tarvix-sim run`: its open handles, each a connection to some program.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "common/file_descriptor.hpp"
#include "ports/run/adapter_source.hpp"
#include "ports/run/listener.hpp"

namespace sim {

// Behaves as Linux's hidraw does: every input report goes to each open handle, which keeps 63 unread ones and loses
// the next; without a handle reports are lost; handles of an adapter that vanished are dead for good.
//
// While the adapter is present its path names an empty file, for programs that lock it, and beside that are the socket
// to which handles connect and those files of sysfs that programs read by themselves.
//
// Unlike the kernel's, the virtual bus is as fast as memory. So that a long response reaches a reader that is merely
// slower than that, a full handle holds the adapter back for a moment before it begins to lose reports.
class RunNode final : public Cable {
public:
    // Told ADDED or REMOVED.
    using Changed = std::function<void(const RunNode& node, const char* event)>;

    // Of the adapter with this identity and index.
    RunNode(EventLoop& loop, AdapterSource& source, const UsbIdentity& identity, std::size_t index,
            const std::string& directory, Changed changed);
    ~RunNode() override;

    const std::string& path() const { return path_; }
    UsbAdapter& adapter() { return *adapter_; }
    const UsbAdapter& adapter() const { return *adapter_; }

    // Takes what programs have written before they ended.
    void drain();

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

    void makeFiles();
    void removeFiles();
    void addHandle(FileDescriptor connection);
    void serve(int descriptor, std::uint32_t events);
    bool receive(int descriptor);
    void becomeFull(int descriptor, Handle& handle);
    void close(int descriptor);
    bool hasRoom(const Handle& handle) const;

    EventLoop& loop_;
    const std::string path_;
    const std::string usbPath_;    // in place of sysfs
    const std::string hidrawPath_; // there
    const Changed changed_;
    std::optional<Listener> listener_; // while the adapter is present
    const int bytesOfOneReport_;       // as the kernel accounts for them
    std::map<int, Handle> handles_;
    const std::unique_ptr<UsbAdapter> adapter_; // last: its end pulls on nothing above
};

} // namespace sim
