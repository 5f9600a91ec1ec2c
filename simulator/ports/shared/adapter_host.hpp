// One virtual adapter with all that lies between its frames and the reports of a port: segmentation, latency, faults,
// unplugging and coming back.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "board/read_board.hpp"
#include "ports/shared/event_loop.hpp"
#include "ports/shared/faults.hpp"
#include "ports/shared/report_codec.hpp"
#include "record/vcd_recorder.hpp"
#include "virtual_adapter.hpp"

namespace sim {

// Options of every port.
struct HostOptions {
    Board adapters; // at least one
    std::chrono::milliseconds latency{0};
    FaultPlan faults{};
    std::optional<std::chrono::milliseconds> away{}; // see AbsenceTimes
    bool verbose = false;
    std::shared_ptr<VcdRecorder> recorder{}; // of all adapters; null for none
};

// How long an adapter stays away unless the user chose a time.
struct AbsenceTimes {
    std::chrono::milliseconds reset{1000};
    std::chrono::milliseconds unplugged{1000}; // by the fault
};

// Connects an adapter with its host. Each port has its own.
class Cable {
public:
    virtual ~Cable() = default;
    virtual void plugIn() = 0;
    virtual void pullOut() = 0;
    // Whether `carry` may be called now. After a refusal the cable calls `AdapterHost::pump` when it may again.
    virtual bool accepts() = 0;
    virtual void carry(std::span<const std::uint8_t> report) = 0;
};

class AdapterHost {
public:
    // `index` counts the adapters of one program, from 0. The adapter is absent until `plugIn`. The options outlive it.
    AdapterHost(EventLoop& loop, const HostOptions& options, const AbsenceTimes& absence, std::size_t index,
                Cable& cable);
    ~AdapterHost();
    AdapterHost(const AdapterHost&) = delete;
    AdapterHost& operator=(const AdapterHost&) = delete;

    const std::string& serialNumber() const { return serialNumber_; }
    std::size_t reportSize() const { return reportSize_; }
    const AdapterBoard& board() const { return adapter_.board(); }
    bool isPresent() const { return present_; }

    // An adapter that is pulled out stays away until it is plugged in.
    void plugIn();
    void pullOut();

    // Takes one output report. Ignores bytes past the report size, and everything while the adapter is absent.
    void outputReport(std::span<const std::uint8_t> report);

    // Sends what is due, as far as the cable accepts it.
    void pump();
    // Drops what the cable has not taken.
    void discardReports() { reports_.clear(); }

    // For whoever looks at the adapter and changes what is around it; `settle` sends what that has caused.
    VirtualAdapter& adapter() { return adapter_; }
    void settle();
    void setFault(Fault fault, double probability) { faults_.set(fault, probability); }
    const FaultPlan& faults() const { return faults_.plan(); }

    // As VirtualAdapter; false also while absent.
    bool receiveOnUart(std::span<const std::uint8_t> bytes);
    bool raiseInBandInterrupt(std::size_t target, std::span<const std::uint8_t> payload);
    bool raiseHotJoin(std::size_t target);

private:
    class LoopWorld;

    struct Departure {
        EventLoop::Clock::time_point due;
        Frame frame;
    };

    void execute(const Frame& request);
    void send(Frame frame);
    void sendDueFrames();
    void leave(std::optional<std::chrono::milliseconds> time);
    void log(const char* direction, const Frame& frame) const;

    EventLoop& loop_;
    const HostOptions& options_;
    const AbsenceTimes absence_;
    const std::size_t index_;
    const std::string serialNumber_;
    const std::size_t reportSize_;
    Cable& cable_;
    EventLoop::Clock::duration stretched_{}; // by devices, since the last frame
    const std::unique_ptr<LoopWorld> world_;
    VirtualAdapter adapter_;
    FaultFilter faults_;
    FrameJoiner joiner_;
    std::deque<Departure> frames_; // in order: a late one holds up the next
    std::deque<Report> reports_;   // due, not yet accepted by the cable
    EventLoop::Timer frameTimer_;  // for the first of frames_
    EventLoop::Timer returnTimer_; // for the end of an absence
    bool present_ = false;
};

} // namespace sim
