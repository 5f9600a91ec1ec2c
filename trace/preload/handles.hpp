// The adapters that this process has open, by hidapi's handles and by descriptors.
#pragma once

#include <atomic>
#include <cstdint>
#include <sys/types.h>

#include "trace/preload/recording.hpp"

struct hid_device_;

namespace recorder {

// hidapi's functions that are called for a device: those of the library that opened it. A process may have two.
struct HidFunctions {
    int (*write)(hid_device_*, const unsigned char*, std::size_t);
    int (*read)(hid_device_*, unsigned char*, std::size_t);
    int (*readTimeout)(hid_device_*, unsigned char*, std::size_t, int);
    void (*close)(hid_device_*);
};

struct Handle {
    std::atomic<std::uintptr_t> key{0};
    pid_t process = 0;     // who added it; a child of vfork shares the table
    bool recorded = false; // another maker's device is not
    Adapter adapter{};
    HidFunctions hid{};                 // of a hidapi handle
    dev_t device{};                     // of a descriptor: what it was opened for, because it
    ino_t number{};                     // may have been closed behind our back
    std::atomic<bool> readsFail{false}; // one of them is enough
};

inline std::uintptr_t keyOf(const hid_device_* device)
{
    return reinterpret_cast<std::uintptr_t>(device);
}

// An odd number, which no pointer is.
inline std::uintptr_t keyOf(int descriptor)
{
    return static_cast<std::uintptr_t>(descriptor) << 1 | 1;
}

// Adds a copy of what `handle` holds, in place of one with the same key, of which no closing was seen, and numbers it;
// null when the table is full.
Handle* addHandle(std::uintptr_t key, const Handle& handle);

// Null for none.
Handle* findHandle(std::uintptr_t key);

// It stays readable, but may become another one's. Only the process that added it can.
void removeHandle(Handle& handle);

} // namespace recorder
