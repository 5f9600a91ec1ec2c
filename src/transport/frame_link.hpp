// Whole frames to and from one adapter.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "handler_slot.hpp"
#include "home_process.hpp"
#include "transport/hid_transport.hpp"
#include "transport/report_segmenter.hpp"

class FrameLink {
public:
    using FrameSlot = HandlerSlot<const std::vector<std::uint8_t>&>;
    using LossSlot = HandlerSlot<>;

    // Held while a session begins or ends, so that these happen one after another. The reader thread gets an empty one:
    // it can do neither, and the others wait for it. So does a process that inherited the session.
    using Lifecycle = std::unique_lock<std::recursive_mutex>;
    Lifecycle lifecycle()
    {
        return transport_.isReaderThread() || isInherited() ? Lifecycle() : Lifecycle(lifecycleMutex_);
    }

    // A plain session: true, and nothing changed, when one is open already, unless it is a strict one that is over.
    bool connect(const std::string& path, const std::string& serial);

    // The session that the options describe, with nothing stored from before. One that is alive stays, whatever they
    // say.
    OpenResult open(const OpenOptions& options);

    // As HidTransport::close. Any thread may call it, while others send.
    void disconnect();

    // SUCCESS while connected, or else ADAPTER_LOST or NOT_CONNECTED.
    StatusCode connection() const;
    bool isAlive() const { return isAnswered() || transport_.isAlive(); }

    // Whether another process opened the session; see HidTransport. The owner then leaves the link, and whatever its
    // threads may have locked, as it is.
    bool isInherited() const { return transport_.isInherited() || (answered_ && !home_.isHere()); }

    // Writes the frame's segments in order, one frame at a time. A plain session writes on whatever the writes report:
    // whether a frame arrived shows in the response alone. A strict one stops at the first that fails and returns
    // false.
    bool send(std::span<const std::uint8_t> frame);

    // Replaces the handler of received frames; see HandlerSlot.
    void onFrame(FrameSlot::Handler handler) { handler_.set(std::move(handler)); }

    // Replaces the handler that is told once when the adapter is lost.
    void onLoss(LossSlot::Handler handler) { lossHandler_.set(std::move(handler)); }

private:
    bool isAnswered() const { return answered_ && home_.isHere(); }
    void receive(std::span<const std::uint8_t> report);

    // The transport comes last: its reader thread uses the others and ends first.
    FrameSlot handler_;
    LossSlot lossHandler_;
    ReportAssembler assembler_;
    std::recursive_mutex lifecycleMutex_;
    std::mutex sendMutex_; // the transport's outgoing report, and the function
    decltype(OpenOptions::answer) answer_;
    std::atomic<bool> answered_ = false; // by the function, in an adapter's place
    HomeProcess home_;                   // of a session that it answers
    HidTransport transport_{[this](std::span<const std::uint8_t> report) { receive(report); },
                            [this] { lossHandler_.call(); }};
};
