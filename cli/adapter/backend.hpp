// The hidapi that this process really uses.
#pragma once

#include <string>

namespace tool {

struct Backend {
    std::string version; // of hidapi
    std::string library; // file name of the library that answers, such as libhidapi-hidraw.so.0
};

Backend currentBackend();

} // namespace tool
