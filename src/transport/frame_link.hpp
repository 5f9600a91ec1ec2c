// Whole frames to and from one adapter.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "handler_slot.hpp"
#include "transport/hid_transport.hpp"
#include "transport/report_segmenter.hpp"

class FrameLink {
public:
    using FrameSlot = HandlerSlot<const std::vector<std::uint8_t>&>;

    bool connect(const std::string& path, const std::string& serial) { return transport_.open(path, serial); }
    void disconnect() { transport_.close(); }

    // Writes the frame's segments in order. Failing writes are not reported: whether a frame arrived shows in the
    // response alone.
    void send(std::span<const std::uint8_t> frame);

    // Replaces the handler of received frames; see HandlerSlot.
    void onFrame(FrameSlot::Handler handler) { handler_.set(std::move(handler)); }

private:
    void receive(std::span<const std::uint8_t> report);

    // The transport comes last: its reader thread uses the others and ends first.
    FrameSlot handler_;
    ReportAssembler assembler_;
    HidTransport transport_{[this](std::span<const std::uint8_t> report) { receive(report); }};
};
