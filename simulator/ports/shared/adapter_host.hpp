// One virtual adapter at a port, with latency, faults and the absences that these and its commands cause.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "board/read_board.hpp"
#include "ports/shared/event_loop.hpp"
#include "ports/shared/faults.hpp"
#include "ports/shared/usb_adapter.hpp"
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

UsbIdentity identityOf(const AdapterBoard& board);

class AdapterHost final : public UsbAdapter {
public:
    // `index` counts the adapters of one program, from 0. The options outlive it.
    AdapterHost(EventLoop& loop, const HostOptions& options, const AbsenceTimes& absence, std::size_t index,
                Cable& cable);
    ~AdapterHost() override;

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

    void powerUp() override { adapter_.powerUp(); }
    void execute(const Frame& request) override;
    void send(Frame frame);

    const HostOptions& options_;
    const AbsenceTimes absence_;
    const std::size_t index_;
    EventLoop::Clock::duration stretched_{}; // by devices, since the last frame
    const std::unique_ptr<LoopWorld> world_;
    VirtualAdapter adapter_;
    FaultFilter faults_;
};

} // namespace sim
