// Owner of one file descriptor.
#pragma once

#include <unistd.h>
#include <utility>

namespace sim {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(number_, other.number_);
        other.reset();
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

    int release() { return std::exchange(number_, -1); }

    void reset()
    {
        if (number_ >= 0) {
            ::close(std::exchange(number_, -1));
        }
    }

private:
    int number_ = -1;
};

} // namespace sim
