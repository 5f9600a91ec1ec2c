#include "trace/conversation/frames.hpp"

#include <algorithm>
#include <utility>

namespace trace {

namespace {

constexpr std::size_t SEGMENT_HEADER = 2;
constexpr unsigned FIRST_SEGMENT = 1;
constexpr unsigned LAST_SEGMENT = 2;
constexpr unsigned RESERVED_BITS = 0xF000;
constexpr std::size_t MOST_SEGMENTS = ReportAssembler::CEILING / 62; // of 64-byte reports

unsigned segmentHeader(std::span<const std::uint8_t> report)
{
    return report[0] | static_cast<unsigned>(report[1]) << 8;
}

} // namespace

FrameJoiner::Joined FrameJoiner::take(std::int64_t time, std::int64_t moment, std::span<const std::uint8_t> report,
                                      bool cut)
{
    Joined joined;
    if (report.size() < SEGMENT_HEADER) {
        return joined;
    }
    const unsigned header = segmentHeader(report);
    const bool begins = (header & FIRST_SEGMENT) != 0;
    if (begins) {
        joined.torn = end();
    }
    if (state_ == State::OUTSIDE) {
        state_ = begins ? State::FROM_BEGINNING : State::WITHOUT_BEGINNING;
        frame_ = {{}, time, moment, moment, {}};
        cut_ = false;
    }
    frame_.end = moment;
    cut_ = cut_ || cut;
    if (keepSegments_ && frame_.segments.size() < MOST_SEGMENTS) {
        frame_.segments.push_back({time, moment, {report.begin(), report.end()}});
    }
    // The assembler drops what has no beginning; of that, something is worth showing.
    const bool accepted = assembler_.accept(report);
    if (state_ == State::WITHOUT_BEGINNING && frame_.bytes.size() < ReportAssembler::CEILING) {
        frame_.bytes.insert(frame_.bytes.end(), report.begin() + SEGMENT_HEADER, report.end());
    }
    if ((header & LAST_SEGMENT) != 0) {
        const bool whole = state_ == State::FROM_BEGINNING && accepted && !cut_;
        (whole ? joined.whole : joined.torn) = finished();
    }
    return joined;
}

Frame FrameJoiner::finished()
{
    if (state_ == State::FROM_BEGINNING) {
        frame_.bytes = assembler_.frame();
    }
    state_ = State::OUTSIDE;
    return std::exchange(frame_, {});
}

std::optional<Frame> FrameJoiner::end()
{
    return state_ == State::OUTSIDE ? std::nullopt : std::optional(finished());
}

bool isFirstSegment(std::span<const std::uint8_t> report)
{
    if (report.size() < SEGMENT_HEADER) {
        return false;
    }
    const unsigned header = segmentHeader(report);
    const std::size_t count = header >> 2 & 0x3FF;
    const std::size_t room = report.size() - SEGMENT_HEADER;
    const auto padding = report.subspan(SEGMENT_HEADER + std::min(count, room));
    return (header & FIRST_SEGMENT) != 0 && (header & RESERVED_BITS) == 0 && count <= room &&
           ((header & LAST_SEGMENT) != 0 || count == room) &&
           std::ranges::all_of(padding, [](std::uint8_t byte) { return byte == 0; });
}

} // namespace trace
