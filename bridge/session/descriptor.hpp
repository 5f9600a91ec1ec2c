// A file descriptor that closes itself.
#pragma once

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace bridge {

class Descriptor {
public:
    Descriptor() = default;
    // Throws std::system_error for what a failed call returns; `action` says what was tried.
    Descriptor(int descriptor, const std::string& action) : descriptor_(descriptor)
    {
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), action);
        }
    }
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Descriptor()
    {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }

    int get() const { return descriptor_; }

    // From now on it is somebody else's.
    int release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_ = -1;
};

} // namespace bridge
