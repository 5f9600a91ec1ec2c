#include "ports/shared/report_codec.hpp"

#include <algorithm>

namespace sim {

namespace {

constexpr std::size_t HEADER_SIZE = 2;
constexpr unsigned FIRST = 1U << 0;
constexpr unsigned LAST = 1U << 1;
constexpr unsigned COUNT_SHIFT = 2;
constexpr unsigned COUNT_MASK = 0x3FF;
constexpr std::size_t LARGEST_FRAME = 128 * 1024; // about twice the largest legal request

} // namespace

std::vector<Report> cutIntoReports(std::span<const std::uint8_t> frame, std::size_t reportSize)
{
    std::vector<Report> reports;
    unsigned header = FIRST;
    do {
        const auto count = std::min(frame.size(), reportSize - HEADER_SIZE);
        header |= static_cast<unsigned>(count) << COUNT_SHIFT;
        if (count == frame.size()) {
            header |= LAST;
        }
        Report& report = reports.emplace_back(reportSize);
        report[0] = static_cast<std::uint8_t>(header & 0xFF);
        report[1] = static_cast<std::uint8_t>(header >> 8);
        std::copy_n(frame.begin(), count, report.begin() + HEADER_SIZE);
        frame = frame.subspan(count);
        header = 0;
    } while (!frame.empty());
    return reports;
}

const Frame* FrameJoiner::take(std::span<const std::uint8_t> report)
{
    if (report.size() < HEADER_SIZE) {
        return nullptr;
    }
    const unsigned header = report[0] | static_cast<unsigned>(report[1]) << 8;
    const auto room = report.size() - HEADER_SIZE;
    const auto count = std::min<std::size_t>(header >> COUNT_SHIFT & COUNT_MASK, room);
    if (header & FIRST) {
        frame_.clear();
        open_ = true;
    }
    if (!open_ || frame_.size() + count > LARGEST_FRAME) {
        open_ = false;
        return nullptr;
    }
    const auto bytes = report.subspan(HEADER_SIZE, count);
    frame_.insert(frame_.end(), bytes.begin(), bytes.end());
    if (!(header & LAST)) {
        return nullptr;
    }
    open_ = false;
    return &frame_;
}

} // namespace sim
