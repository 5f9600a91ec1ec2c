// A command that runs as long as the bridges, and they as long as it.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "common/file_descriptor.hpp"

namespace bridge {

class Child {
public:
    // Starts it. Throws tool::AlreadyReported, with a shell's status, when it cannot be run.
    explicit Child(const std::vector<std::string>& command);
    ~Child(); // asks it to end if it runs
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    int endDescriptor() const { return end_.get(); } // readable when it has ended

    // Its exit status, as a shell would have it.
    int wait();

private:
    pid_t process_ = -1;
    FileDescriptor end_;
};

} // namespace bridge
