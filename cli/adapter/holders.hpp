// Who uses an adapter, and where it is plugged in: what the system knows without opening it.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct Holder {
    std::string program; // as the system names it; may have any characters
    int process;
};

// The other programs that have the node open. Without root's rights, processes of other users cannot be looked into.
std::vector<Holder> holdersOf(const std::string& path);

// The same for each of several nodes, in one look.
std::vector<std::vector<Holder>> holdersOf(const std::vector<std::string>& paths);

// "python3 (process 4711), ..."; empty for none.
std::string textOf(const std::vector<Holder>& holders);

// The port as the kernel names it, such as "1-2.4" for bus 1, port 2, then port 4 of a hub; empty if that is unknown.
// `sysfs` is where nodes are described.
std::string usbPortOf(const std::string& path, const std::string& sysfs = "/sys/class/hidraw");

} // namespace tool
