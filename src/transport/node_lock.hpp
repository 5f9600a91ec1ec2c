// The advisory lock on a device node that keeps a second session of ours out.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

// flock on a descriptor of its own: the kernel releases it when the process ends, however it ends, and a second session
// of the same process is kept out, too. hidapi's descriptor cannot be had, and a record lock would go with whichever
// descriptor of the node is closed first.
class NodeLock {
public:
    enum class Result {
        HELD,
        NO_FILE,       // the path names no file: nothing to lock
        NO_PERMISSION, // the node may not be opened
        IN_USE,        // somebody else holds it: see holder()
    };

    NodeLock() = default;
    ~NodeLock() { release(); }
    NodeLock(const NodeLock&) = delete;
    NodeLock& operator=(const NodeLock&) = delete;

    Result take(const std::string& path);
    void release();
    void swap(NodeLock& other) { std::swap(descriptor_, other.descriptor_); }

    // After IN_USE: the process that holds the lock, 0 where the system does not tell.
    std::int64_t holder() const { return holder_; }

private:
    int descriptor_ = -1;
    std::int64_t holder_ = 0;
};
