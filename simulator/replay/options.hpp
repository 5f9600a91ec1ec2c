// How a recording is played back.
#pragma once

#include <string>

namespace sim {

struct ReplayOptions {
    std::string capture;  // file with the recording
    bool lenient = false; // requests may come in any order, and any number of times
    bool timing = false;  // answers take as long as they did
    bool verbose = false;
};

} // namespace sim
