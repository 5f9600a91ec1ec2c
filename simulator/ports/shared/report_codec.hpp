// Frames and reports: the adapter's side of the segmentation.
//
// A report begins with a 16-bit little-endian header: bit 0 marks the first segment of a frame, bit 1 the last one,
// bits 2 to 11 count the bytes of the frame that follow. The rest of the report is zero.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "model/frame.hpp"

namespace sim {

using Report = std::vector<std::uint8_t>;

// An empty frame takes one report that is both first and last.
std::vector<Report> cutIntoReports(std::span<const std::uint8_t> frame, std::size_t reportSize);

class FrameJoiner {
public:
    // The whole frame when the report completes one, else null. The frame is valid until the next call.
    //
    // A segment that continues nothing is ignored, and so is a frame that outgrows what a request can be.
    const Frame* take(std::span<const std::uint8_t> report);

    void clear() { open_ = false; }

private:
    Frame frame_;
    bool open_ = false;
};

} // namespace sim
