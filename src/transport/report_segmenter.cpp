#include "transport/report_segmenter.hpp"

#include <algorithm>
#include <new>

namespace {

constexpr std::size_t HEADER_SIZE = 2;
constexpr unsigned FIRST = 1U << 0;
constexpr unsigned LAST = 1U << 1;
constexpr unsigned COUNT_SHIFT = 2;
constexpr unsigned COUNT_MASK = 0x3FF;

} // namespace

ReportSegmenter::ReportSegmenter(std::size_t reportSize) : capacity_(reportSize - HEADER_SIZE) {}

std::size_t ReportSegmenter::segmentCount(std::size_t frameSize) const
{
    return (frameSize + capacity_ - 1) / capacity_;
}

void ReportSegmenter::cut(std::span<const std::uint8_t> frame, std::size_t index, std::span<std::uint8_t> report) const
{
    const std::size_t offset = index * capacity_;
    const auto part = frame.subspan(offset, std::min(capacity_, frame.size() - offset));
    const unsigned header = static_cast<unsigned>(part.size()) << COUNT_SHIFT | (offset == 0 ? FIRST : 0) |
                            (offset + part.size() == frame.size() ? LAST : 0);
    report[0] = static_cast<std::uint8_t>(header);
    report[1] = static_cast<std::uint8_t>(header >> 8);
    const auto end = std::copy(part.begin(), part.end(), report.begin() + HEADER_SIZE);
    std::fill(end, report.end(), std::uint8_t{0});
}

bool ReportAssembler::accept(std::span<const std::uint8_t> report)
{
    const unsigned header = report[0] | static_cast<unsigned>(report[1]) << 8;
    if ((header & FIRST) != 0) {
        frame_.clear();
        dropping_ = false;
    } else if (!insideFrame_ && !takeContinuations_) {
        return false;
    }
    insideFrame_ = (header & LAST) == 0;
    // The count is the adapter's word: never take more than the report holds.
    const auto part = report.subspan(
        HEADER_SIZE, std::min<std::size_t>(header >> COUNT_SHIFT & COUNT_MASK, report.size() - HEADER_SIZE));
    dropping_ = dropping_ || !append(part);
    return !dropping_ && (header & LAST) != 0;
}

bool ReportAssembler::append(std::span<const std::uint8_t> part)
{
    if (frame_.size() + part.size() > CEILING) {
        return false;
    }
    try {
        frame_.insert(frame_.end(), part.begin(), part.end());
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}
