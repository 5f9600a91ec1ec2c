// Owner of one file descriptor.
#pragma once

#include <cerrno>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    // Throws std::system_error for what a failed call returns; `action` says what was tried.
    FileDescriptor(int number, const std::string& action) : number_(number)
    {
        if (number < 0) {
            throw std::system_error(errno, std::generic_category(), action);
        }
    }
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
