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
    if (!opening || isAnswered() || transport_.isConnected()) {
        return isAnswered() || transport_.isConnected();
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
        return isAnswered() ? openedFunction()
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
        home_.moveHere();
        answered_ = true;
        return openedFunction();
    }
    return transport_.open(options);
}

void FrameLink::disconnect()
{
    const Lifecycle closing = lifecycle();
    if (isAnswered()) {
        answered_ = false;
        const std::lock_guard sending(sendMutex_);
        answer_ = nullptr;
    }
    transport_.close();
}

StatusCode FrameLink::connection() const
{
    if (isAnswered() || transport_.isConnected()) {
        return StatusCode::SUCCESS;
    }
    return transport_.isLost() ? StatusCode::ADAPTER_LOST : StatusCode::NOT_CONNECTED;
}

bool FrameLink::send(std::span<const std::uint8_t> frame)
{
    std::unique_lock sending(sendMutex_);
    if (answered_) {
        const auto response = answer_({frame.begin(), frame.end()});
        sending.unlock(); // a handler may send
        if (!response.empty()) {
            handler_.call(response);
        }
        return true;
    }
    if (transport_.reportSize() == 0) { // the session ended meanwhile, and never had an adapter
        return false;
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
