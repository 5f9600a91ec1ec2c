// The command that finds the adapters of a run.
//
// It gets the environment variables LD_PRELOAD, so that a library of ours answers what it asks of hidapi, libudev and
// hidraw, and TARVIX_SIM_SOCKET, where that library finds this host.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

#include "ports/shared/event_loop.hpp"

namespace sim {

class Command {
public:
    explicit Command(EventLoop& loop) : loop_(loop) {}
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // Once. Runs the loop until the command ends; returns its exit status as a shell would.
    int run(const std::string& socket, const std::vector<std::string>& words);

    // For a command that should come to its end by itself: it is terminated if it has not after a while, and at last
    // killed.
    void mustEnd();

private:
    EventLoop& loop_;
    pid_t child_ = -1;
};

} // namespace sim
