// A command that runs as long as the bridges, and they as long as it. While it runs, the signals that would end us are
// its own: it decides what becomes of them.
#pragma once

#include <array>
#include <csignal>
#include <string>
#include <vector>

#include <sys/types.h>

#include "common/file_descriptor.hpp"

namespace bridge {

class Child {
public:
    // Starts it. Throws tool::AlreadyReported, with a shell's status, when it cannot be run.
    explicit Child(const std::vector<std::string>& command);
    ~Child(); // ends it if it runs: first by asking
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    int endDescriptor() const { return end_.get(); } // readable when it has ended

    // Its exit status, as a shell would have it. From here on signals are ours again.
    int wait();

private:
    void passSignalsOn();

    static constexpr int SIGNALS[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};

    pid_t process_ = -1;
    std::array<struct sigaction, std::size(SIGNALS)> before_{};
    FileDescriptor end_;
};

} // namespace bridge
