#include "footprint.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <malloc.h>
#include <unistd.h>

namespace soak {

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr long SLACK = 1L << 30; // theirs is what grows
#else
constexpr long SLACK = 16; // KiB
#endif

} // namespace

Footprint::Footprint(pid_t host, long sessions)
    : figures_{{
          {"heap in use, KiB", SLACK * sessions},
          {"memory, KiB", 64 * SLACK},
          {"descriptors", 0},
          {"threads", 0},
          {"tarvix-sim's memory, KiB", 64 * SLACK},
          {"tarvix-sim's descriptors", 0},
          {"tarvix-sim's threads", 0},
      }}
{
    const struct mallinfo2 heap = ::mallinfo2();
    figures_[0].value = static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
    look(&figures_[1], ::getpid());
    look(&figures_[4], host);
}

bool Footprint::isNoLargerThan(const Footprint& earlier) const
{
    return std::equal(figures_.begin(), figures_.end(), earlier.figures_.begin(),
                      [](const Figure& now, const Figure& then) { return now.value <= then.value + then.slack; });
}

void Footprint::print(const Footprint& earlier) const
{
    for (std::size_t i = 0; i < figures_.size(); ++i) {
        std::printf("  %-26s %7ld, at a tenth %7ld\n", figures_[i].name, figures_[i].value, earlier.figures_[i].value);
    }
}

// Memory, descriptors and threads.
void Footprint::look(Figure* figures, pid_t process)
{
    const std::string folder = "/proc/" + std::to_string(process);
    std::ifstream status(folder + "/status");
    for (std::string line; std::getline(status, line);) {
        std::sscanf(line.c_str(), "VmRSS: %ld", &figures[0].value);
        std::sscanf(line.c_str(), "Threads: %ld", &figures[2].value);
    }
    using Entries = std::filesystem::directory_iterator;
    figures[1].value = static_cast<long>(std::distance(Entries(folder + "/fd"), Entries()));
}

} // namespace soak
