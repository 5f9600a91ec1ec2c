// A program that a device runs, with pipes to its standard input and output; gone when this is destroyed.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

#include "common/file_descriptor.hpp"

namespace sim {

class Child {
public:
    struct Command {
        std::vector<std::string> words;  // at least one
        std::filesystem::path directory; // in which it runs, and from which relative names in it count
    };

    // Throws std::system_error when it cannot be started.
    explicit Child(const Command& command);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Our ends of the pipes, which do not block.
    int input() const { return input_.get(); }
    int output() const { return output_.get(); }

    // Ends it and all that it started, at once. The text says what it did if it was at its end itself, else is empty.
    std::string end();

private:
    bool endsWithin(std::chrono::milliseconds time) const;
    int reap();

    FileDescriptor input_;
    FileDescriptor output_;
    pid_t pid_ = -1; // and its process group; -1 once it is gone
};

} // namespace sim
