// What every part of the soak needs.
#pragma once

#include <string>

namespace soak {

// Says why the soak fails, and ends the process whatever its other threads do.
[[noreturn]] void fail(const std::string& what);

inline void require(bool holds, const char* what)
{
    if (!holds) {
        fail(what);
    }
}

struct Options {
    long commands = 100'000;
    long sessions = 1;
    long programs = 1;
    long reopenAfter = 0;
    long timeout = 20;
    long seed = 1;
    long faultsAtLeast = 0;
    long faultsAtMost = 50;
};

} // namespace soak
