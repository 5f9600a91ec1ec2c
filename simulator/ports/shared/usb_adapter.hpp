// An adapter as its port sees it, with all that lies between its frames and the port's reports: segmentation, time,
// unplugging and coming back.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>

#include "ports/shared/event_loop.hpp"
#include "ports/shared/identity.hpp"
#include "ports/shared/report_codec.hpp"

namespace sim {

// Connects an adapter with its host. Each port has its own.
class Cable {
public:
    virtual ~Cable() = default;
    virtual void plugIn() = 0;
    virtual void pullOut() = 0;
    // Whether `carry` may be called now. After a refusal the cable calls `UsbAdapter::pump` when it may again.
    virtual bool accepts() = 0;
    virtual void carry(std::span<const std::uint8_t> report) = 0;
};

class UsbAdapter {
public:
    // Absent until `plugIn`.
    UsbAdapter(EventLoop& loop, UsbIdentity identity, Cable& cable);
    virtual ~UsbAdapter();
    UsbAdapter(const UsbAdapter&) = delete;
    UsbAdapter& operator=(const UsbAdapter&) = delete;

    const UsbIdentity& identity() const { return identity_; }
    const std::string& serialNumber() const { return identity_.serialNumber; }
    std::size_t reportSize() const { return identity_.reportSize; }
    bool isPresent() const { return present_; }

    // An adapter that is pulled out stays away until it is plugged in.
    void plugIn();
    void pullOut();

    // A program has opened it, as far as the port can tell.
    virtual void opened() {}

    // Takes one output report. Ignores bytes past the report size, and everything while the adapter is absent.
    void outputReport(std::span<const std::uint8_t> report);

    // Sends what is due, as far as the cable accepts it.
    void pump();
    // Drops what the cable has not taken.
    void discardReports() { reports_.clear(); }

protected:
    using TimePoint = EventLoop::Clock::time_point;

    virtual void powerUp() = 0;
    virtual void execute(const Frame& request) = 0;

    // These happen in order, however late: a late one holds up the next. `pump` does what is due.
    void sendAt(TimePoint due, Frame frame);
    void leaveAt(TimePoint due, std::optional<std::chrono::milliseconds> time);

    // Outside of what the port is doing now.
    void pumpSoon();

    // Now, and for so long; nothing for until somebody plugs it in.
    void leave(std::optional<std::chrono::milliseconds> time);

    // What `--verbose` prints of a frame.
    void log(const char* direction, const Frame& frame) const;

private:
    struct Departure {
        TimePoint due;
        Frame frame{};
        bool leaves = false; // it is the adapter that departs
        std::optional<std::chrono::milliseconds> time{};
    };

    bool mustLeave() const;
    void sendDueFrames();

    EventLoop& loop_;
    const UsbIdentity identity_;
    Cable& cable_;
    FrameJoiner joiner_;
    std::deque<Departure> departures_;
    std::deque<Report> reports_;   // due, not yet accepted by the cable
    EventLoop::Timer frameTimer_;  // for the first departure
    EventLoop::Timer returnTimer_; // for the end of an absence
    bool present_ = false;
};

} // namespace sim
