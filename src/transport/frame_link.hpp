// Whole frames to and from one adapter.
#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "handler_slot.hpp"
#include "transport/hid_transport.hpp"
#include "transport/report_segmenter.hpp"

class FrameLink {
public:
    using FrameSlot = HandlerSlot<const std::vector<std::uint8_t>&>;
    using LossSlot = HandlerSlot<>;

    // A plain session: true, and nothing changed, when one is open already, unless it is a strict one whose adapter is
    // lost.
    bool connect(const std::string& path, const std::string& serial);

    // The session that the options describe; an open one stays, whatever they say, unless its adapter is dead.
    OpenResult open(const OpenOptions& options);

    // As HidTransport::close. Any thread may call it, while others send.
    void disconnect();

    bool isLost() const { return transport_.isLost(); }
    bool isDead() const { return transport_.isDead(); }
    bool isStrict() const { return transport_.isStrict(); }

    // Writes the frame's segments in order, one frame at a time. A plain session writes on whatever the writes report:
    // whether a frame arrived shows in the response alone. A strict one stops at the first that fails and returns
    // false.
    bool send(std::span<const std::uint8_t> frame);

    // Replaces the handler of received frames; see HandlerSlot.
    void onFrame(FrameSlot::Handler handler) { handler_.set(std::move(handler)); }

    // Replaces the handler that is told once when the adapter is lost.
    void onLoss(LossSlot::Handler handler) { lossHandler_.set(std::move(handler)); }

private:
    void receive(std::span<const std::uint8_t> report);

    // The transport comes last: its reader thread uses the others and ends first.
    FrameSlot handler_;
    LossSlot lossHandler_;
    ReportAssembler assembler_;
    std::mutex lifecycleMutex_; // opening and closing; never waited for on the reader thread, which they wait for
    std::mutex sendMutex_;      // the transport's outgoing report
    HidTransport transport_{[this](std::span<const std::uint8_t> report) { receive(report); },
                            [this] { lossHandler_.call(); }};
};
