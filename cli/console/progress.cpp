#include "console/progress.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "common/terminal.hpp"

namespace tool {

Progress::Progress(std::string label, std::size_t total)
    : label_(std::move(label)),
      total_(total),
      enabled_(isatty(STDERR_FILENO) == 1),
      start_(std::chrono::steady_clock::now()),
      nextUpdate_(start_ + std::chrono::milliseconds(500))
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
    const double rate = static_cast<double>(done) / std::chrono::duration<double>(now - start_).count();
    const auto left = static_cast<std::uint64_t>(std::ceil(static_cast<double>(total_ - done) / std::max(rate, 1.0)));
    terminal::writeError(fmt::format("\r{}: {} of {} bytes, {} %, {:.1f} KiB/s, {}:{:02} left\x1b[K", label_, done,
                                     total_, 100 * done / std::max<std::size_t>(total_, 1), rate / 1024, left / 60,
                                     left % 60));
}

} // namespace tool
