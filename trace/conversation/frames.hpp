// Segments joined into frames, as the library joins them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "transport/report_segmenter.hpp"

namespace trace {

// One report that carries a part of a frame.
struct Segment {
    std::int64_t time;   // as of the record
    std::int64_t moment; // as of the record
    std::vector<std::uint8_t> report;
};

struct Frame {
    std::vector<std::uint8_t> bytes;
    std::int64_t time = 0;           // of its first segment
    std::int64_t begin = 0;          // moment of its first segment
    std::int64_t end = 0;            // ... and of its last
    std::vector<Segment> segments{}; // when they are kept
};

// Reports in one direction. What does not belong to a whole frame is torn: a beginning without an end, or the other way
// round.
class FrameJoiner {
public:
    explicit FrameJoiner(bool keepSegments) : keepSegments_(keepSegments) { assembler_.takeContinuations(false); }

    struct Joined {
        std::optional<Frame> torn; // came before `whole`
        std::optional<Frame> whole;
    };

    // `cut` if the report is not all there.
    Joined take(std::int64_t time, std::int64_t moment, std::span<const std::uint8_t> report, bool cut);

    // What has no end; nothing more is to come.
    std::optional<Frame> end();

private:
    enum class State { OUTSIDE, FROM_BEGINNING, WITHOUT_BEGINNING };

    Frame finished();

    const bool keepSegments_;
    ReportAssembler assembler_;
    State state_ = State::OUTSIDE;
    Frame frame_;
    bool cut_ = false; // a report of it was
};

// Whether a report can be a frame's first: what it says of itself holds.
bool isFirstSegment(std::span<const std::uint8_t> report);

} // namespace trace
