// Cutting a frame into report-sized segments and joining received segments back into a frame. Pure: no device, no
// thread.
//
// A segment begins with a 16-bit little-endian header: bit 0 marks the first segment of a frame, bit 1 the last, bits
// 2 to 11 count the frame bytes that follow. The other bits are 0 when sent and ignored when received.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class ReportSegmenter {
public:
    explicit ReportSegmenter(std::size_t reportSize);

    std::size_t segmentCount(std::size_t frameSize) const; // 0 for an empty frame

    // Writes segment `index` of `frame` to `report` (reportSize bytes), padded with zeros.
    void cut(std::span<const std::uint8_t> frame, std::size_t index, std::span<std::uint8_t> report) const;

private:
    std::size_t capacity_;
};

class ReportAssembler {
public:
    // About twice the largest legal frame: whatever an adapter sends, the buffer grows no further.
    static constexpr std::size_t CEILING = std::size_t{128} * 1024;

    // Takes one received report. True when it completed a frame, which `frame` then holds.
    bool accept(std::span<const std::uint8_t> report);

    // Whether a continuation outside a frame adds to what was delivered before, as it does unless told otherwise, or
    // is dropped. Dropping begins with nothing stored.
    void takeContinuations(bool take)
    {
        takeContinuations_ = take;
        insideFrame_ = false;
    }

    // Is emptied by the next first segment only.
    const std::vector<std::uint8_t>& frame() const { return frame_; }

private:
    bool append(std::span<const std::uint8_t> part);

    std::vector<std::uint8_t> frame_;
    bool dropping_ = false; // until the next first segment: the frame passed the ceiling, or memory ran out
    bool insideFrame_ = false;
    bool takeContinuations_ = true;
};
