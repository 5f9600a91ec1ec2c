// The directory of one `tarvix-sim run`, for its socket and the nodes of its adapters.
#pragma once

#include <string>

#include "common/file_descriptor.hpp"

namespace sim {

// Nobody else can enter it, and it is gone with this object.
class PrivateDirectory {
public:
    // Also removes those of killed programs.
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::string& path() const { return path_; } // absolute, without links

private:
    std::string path_;
    FileDescriptor lock_; // on the directory: tells it from that of a killed program
};

} // namespace sim
