#include "transport/frame_link.hpp"

void FrameLink::send(std::span<const std::uint8_t> frame)
{
    const ReportSegmenter segmenter(transport_.reportSize());
    const std::size_t count = segmenter.segmentCount(frame.size());
    for (std::size_t i = 0; i < count; ++i) {
        segmenter.cut(frame, i, transport_.outgoing());
        transport_.write();
    }
}

void FrameLink::receive(std::span<const std::uint8_t> report)
{
    if (assembler_.accept(report)) {
        handler_.call(assembler_.frame());
    }
}
