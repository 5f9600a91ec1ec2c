#include "transport/frame_link.hpp"

namespace {

OpenResult openedFunction()
{
    return {OpenStatus::OPENED, {}, 0, "opened a function that answers"};
}

} // namespace

bool FrameLink::connect(const std::string& path, const std::string& serial)
{
    const Lifecycle opening = lifecycle();
    if (!opening || answered_ || transport_.isConnected()) {
        return answered_ || transport_.isConnected();
    }
    transport_.close();
    const std::lock_guard sending(sendMutex_);
    assembler_.takeContinuations(true);
    return transport_.open(path, serial);
}

OpenResult FrameLink::open(const OpenOptions& options)
{
    const Lifecycle opening = lifecycle();
    if (isAlive()) {
        return answered_ ? openedFunction()
                         : OpenResult{OpenStatus::OPENED, transport_.path(), 0, "opened " + transport_.path()};
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
    answer_ = options.answer;
    if (answer_) {
        answered_ = true;
        return openedFunction();
    }
    return transport_.open(options);
}

void FrameLink::disconnect()
{
    const Lifecycle closing = lifecycle();
    answered_ = false;
    transport_.close();
}

StatusCode FrameLink::connection() const
{
    if (answered_ || transport_.isConnected()) {
        return StatusCode::SUCCESS;
    }
    return transport_.isLost() ? StatusCode::ADAPTER_LOST : StatusCode::NOT_CONNECTED;
}

bool FrameLink::send(std::span<const std::uint8_t> frame)
{
    const std::lock_guard sending(sendMutex_);
    if (answered_) {
        handler_.call(answer_({frame.begin(), frame.end()}));
        return true;
    }
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
