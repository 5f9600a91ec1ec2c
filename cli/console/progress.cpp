#include "console/progress.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "common/terminal.hpp"

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
        terminal::writeError("\r\x1b[K");
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
    terminal::writeError(fmt::format("\r{}: {} of {} bytes, {} %\x1b[K", label_, done, total_,
                                     100 * done / std::max<std::size_t>(total_, 1)));
}

} // namespace tool
