// The capture file that this process adds records to. Lock-free and without memory of its own: it is called in programs
// with any number of threads, also between fork and exec, and in several processes at a time with one file.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "trace/capture/layout.hpp"

namespace recorder {

using namespace trace; // what a capture is made of

inline constexpr const char* FILE_VARIABLE = "TARVIX_TRACE"; // holds the file's path

// Where an adapter is on USB, and what it says of itself.
struct Adapter {
    char path[256];
    char serial[256]; // UTF-8
    std::uint16_t bus;
    std::uint8_t device;
    std::uint16_t vendor;
    std::uint16_t product;
    std::int32_t handle; // each gets a copy of what the adapter sends
};

// As long as it lives, what is done in between leaves no trace in the thread's errno, and nobody cancels the thread.
class Unnoticed {
public:
    Unnoticed() : error_(errno) { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancellation_); }
    ~Unnoticed()
    {
        ::pthread_setcancelstate(cancellation_, nullptr);
        errno = error_;
    }
    Unnoticed(const Unnoticed&) = delete;
    Unnoticed& operator=(const Unnoticed&) = delete;

private:
    const int error_;
    int cancellation_ = 0;
};

// Whether there is something to record for: the variable is set.
bool records();

// These do nothing when the file cannot be written, which is told once. An error is a number of errno's, 0 for none.

// An output report on its way; `data` begins with the report id, which travels unless it is zero. Returns a number for
// its completion.
std::uint64_t recordOutput(const Adapter& adapter, const void* data, std::size_t size);
void recordCompletion(const Adapter& adapter, std::uint64_t transfer, int error, std::size_t size);

// An input report, or an error in reading one.
void recordInput(const Adapter& adapter, int error, const void* data, std::size_t size);

// What the host asks an adapter when it is plugged in, by which tools know what it is, and a note.
void recordOpening(const Adapter& adapter);
void recordClosing(const Adapter& adapter);
void recordFailedOpening(const Adapter& adapter, const char* error);

} // namespace recorder
