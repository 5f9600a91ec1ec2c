#include "trace/preload/handles.hpp"

#include <array>
#include <unistd.h>

namespace recorder {

namespace {

// Values of a key that no handle has: the second for a place whose handle was closed, behind which others may follow.
constexpr std::uintptr_t FREE = 0;
constexpr std::uintptr_t FREE_AGAIN = 2;
constexpr std::uintptr_t BEING_FILLED = 4;

constinit std::array<Handle, 1024> handles{};

Handle& place(std::uintptr_t key, std::size_t step)
{
    return handles[(((key >> 4) ^ key) + step) % handles.size()];
}

} // namespace

Handle* addHandle(std::uintptr_t key, const Handle& handle)
{
    while (Handle* const old = findHandle(key)) {
        old->key = FREE_AGAIN;
    }
    for (std::size_t step = 0; step < handles.size(); ++step) {
        Handle& candidate = place(key, step);
        std::uintptr_t found = candidate.key;
        if (found == FREE || found == FREE_AGAIN) {
            if (!candidate.key.compare_exchange_strong(found, BEING_FILLED)) {
                continue;
            }
            candidate.process = ::getpid();
            candidate.recorded = handle.recorded;
            candidate.adapter = handle.adapter;
            candidate.adapter.handle = static_cast<std::int32_t>(&candidate - handles.data());
            candidate.hid = handle.hid;
            candidate.device = handle.device;
            candidate.number = handle.number;
            candidate.readsFail = false;
            candidate.key = key;
            return &candidate;
        }
    }
    return nullptr;
}

Handle* findHandle(std::uintptr_t key)
{
    for (std::size_t step = 0; step < handles.size(); ++step) {
        Handle& candidate = place(key, step);
        const std::uintptr_t found = candidate.key.load(std::memory_order_acquire);
        if (found == key) {
            return &candidate;
        }
        if (found == FREE) {
            break;
        }
    }
    return nullptr;
}

void removeHandle(Handle& handle)
{
    if (handle.process == ::getpid()) {
        handle.key = FREE_AGAIN;
    }
}

} // namespace recorder
