#include "transport/frame_link.hpp"

bool FrameLink::connect(const std::string& path, const std::string& serial)
{
    if (transport_.isReaderThread()) { // so a device is open
        return true;
    }
    const std::lock_guard lifecycle(lifecycleMutex_);
    if (transport_.isLost()) {
        transport_.close();
    }
    const std::lock_guard sending(sendMutex_);
    if (!transport_.isOpen()) {
        assembler_.takeContinuations(true);
    }
    return transport_.open(path, serial);
}

OpenResult FrameLink::open(const OpenOptions& options)
{
    if (transport_.isReaderThread()) {
        return {OpenStatus::FAILED, {}, 0, "an adapter cannot be opened from a handler of its own session"};
    }
    const std::lock_guard lifecycle(lifecycleMutex_);
    if (transport_.isDead()) {
        transport_.close();
    }
    const std::lock_guard sending(sendMutex_);
    if (!transport_.isOpen()) {
        assembler_.takeContinuations(!options.strict);
        return transport_.open(options);
    }
    return {OpenStatus::OPENED, transport_.path(), 0, "opened " + transport_.path()};
}

void FrameLink::disconnect()
{
    std::unique_lock lifecycle(lifecycleMutex_, std::defer_lock);
    if (!transport_.isReaderThread()) {
        lifecycle.lock();
    }
    transport_.close();
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
