#include "console/progress.hpp"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

namespace tool {

Progress::Progress(std::string label, std::size_t total)
    : label_(std::move(label)),
      total_(total),
      enabled_(isatty(STDERR_FILENO) == 1),
      nextUpdate_(std::chrono::steady_clock::now() + std::chrono::milliseconds(500))
{
}

Progress::~Progress()
{
    if (shown_) {
        std::fputs("\r\x1b[K", stderr);
    }
}

void Progress::update(std::size_t done)
{
    const auto now = std::chrono::steady_clock::now();
    if (!enabled_ || now < nextUpdate_) {
        return;
    }
    nextUpdate_ = now + std::chrono::milliseconds(100);
    shown_ = true;
    fmt::print(stderr, "\r{}: {} of {} bytes, {} %\x1b[K", label_, done, total_,
               100 * done / std::max<std::size_t>(total_, 1));
    std::fflush(stderr);
}

} // namespace tool
