#include "transport/frame_link.hpp"

bool FrameLink::connect(const std::string& path, const std::string& serial)
{
    const Lifecycle opening = lifecycle();
    if (!opening || transport_.isConnected()) {
        return transport_.isConnected();
    }
    transport_.close();
    const std::lock_guard sending(sendMutex_);
    assembler_.takeContinuations(true);
    return transport_.open(path, serial);
}

OpenResult FrameLink::open(const OpenOptions& options)
{
    const Lifecycle opening = lifecycle();
    if (transport_.isAlive()) {
        return {OpenStatus::OPENED, transport_.path(), 0, "opened " + transport_.path()};
    }
    if (!opening) {
        return {OpenStatus::FAILED,
                {},
                0,
                isInherited() ? "this session belongs to the process that opened it: make a new one"
                              : "an adapter cannot be opened from a handler of its own session"};
    }
    transport_.close();
    const std::lock_guard sending(sendMutex_);
    assembler_ = ReportAssembler();
    assembler_.takeContinuations(!options.strict);
    return transport_.open(options);
}

void FrameLink::disconnect()
{
    const Lifecycle closing = lifecycle();
    transport_.close();
}

StatusCode FrameLink::connection() const
{
    if (transport_.isConnected()) {
        return StatusCode::SUCCESS;
    }
    return transport_.isLost() ? StatusCode::ADAPTER_LOST : StatusCode::NOT_CONNECTED;
}

bool FrameLink::send(std::span<const std::uint8_t> frame)
{
    const std::lock_guard sending(sendMutex_);
    const ReportSegmenter segmenter(transport_.reportSize());
    const std::size_t count = segmenter.segmentCount(frame.size());
    for (std::size_t i = 0; i < count; ++i) {
        segmenter.cut(frame, i, transport_.outgoing());
        if (!transport_.write() && transport_.isStrict()) {
            return false;
        }
    }
    return true;
}

void FrameLink::receive(std::span<const std::uint8_t> report)
{
    if (assembler_.accept(report)) {
        handler_.call(assembler_.frame());
    }
}
