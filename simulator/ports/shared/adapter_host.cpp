#include "ports/shared/adapter_host.hpp"

#include <sys/epoll.h>
#include <utility>

#include <fmt/format.h>

#include "common/terminal.hpp"

namespace sim {

UsbIdentity identityOf(const AdapterBoard& board)
{
    return {board.serialNumber, board.reportSize, board.manufacturer, board.product};
}

// The loop's time, timers and descriptors; whatever happens in a handler, the host hears of it at once.
class AdapterHost::LoopWorld final : public World {
public:
    LoopWorld(EventLoop& loop, AdapterHost& host) : loop_(loop), host_(host) {}

    std::uint64_t seed() const override { return host_.options_.faults.seed + host_.index_; }
    Clock::time_point now() const override { return EventLoop::Clock::now(); }

    Subscription after(Clock::duration delay, std::function<void()> handler) override
    {
        const auto timer = loop_.after(delay, [this, handler = std::move(handler)] {
            handler();
            host_.settle();
        });
        return onEnd([this, timer] { loop_.cancel(timer); });
    }

    Subscription watch(int descriptor, std::function<void()> readable) override
    {
        loop_.watch(descriptor, EPOLLIN, [this, readable = std::move(readable)](std::uint32_t) {
            readable();
            host_.settle();
        });
        return onEnd([this, descriptor] { loop_.forget(descriptor); });
    }

    void stretch(Clock::duration delay) override { host_.stretched_ += delay; }

    void tell(const std::string& text) override
    {
        terminal::tell(fmt::format("tarvix-sim: {}: {}", host_.serialNumber(), text));
    }

private:
    template <class End>
    static Subscription onEnd(End end)
    {
        return {nullptr, [end](void*) { end(); }};
    }

    EventLoop& loop_;
    AdapterHost& host_;
};

AdapterHost::AdapterHost(EventLoop& loop, const HostOptions& options, const AbsenceTimes& absence, std::size_t index,
                         Cable& cable)
    : UsbAdapter(loop, identityOf(options.adapters.at(index)), cable),
      options_(options),
      absence_(absence),
      index_(index),
      world_(std::make_unique<LoopWorld>(loop, *this)),
      adapter_(
          options.adapters.at(index), *world_, [this](const Frame& frame) { send(frame); },
          options.recorder ? &options.recorder->adapter(index) : nullptr),
      faults_(options.faults, index)
{
}

AdapterHost::~AdapterHost() = default;

void AdapterHost::execute(const Frame& request)
{
    if (options_.verbose) {
        log("<", request);
    }
    const bool unplugs = faults_.unplugs();
    adapter_.request(request);
    if (unplugs) {
        leave(options_.away.value_or(absence_.unplugged));
        return;
    }
    switch (adapter_.presence()) {
    case Presence::ON_BUS:
        pump();
        break;
    case Presence::RESTARTING:
        leave(options_.away.value_or(absence_.reset));
        break;
    case Presence::BOOT_MODE:
        leave(std::nullopt);
        break;
    }
}

void AdapterHost::send(Frame frame)
{
    if (!isPresent()) { // a device has raised an event
        return;
    }
    const auto passage = faults_.pass(frame);
    const auto due = EventLoop::Clock::now() + options_.latency + passage.delay + std::exchange(stretched_, {});
    if (options_.verbose) {
        log(passage.copies == 0 ? "> lost:" : ">", frame);
    }
    for (unsigned copy = 0; copy < passage.copies; ++copy) {
        sendAt(due, frame);
    }
}

void AdapterHost::settle()
{
    adapter_.settle();
    pump();
}

bool AdapterHost::receiveOnUart(std::span<const std::uint8_t> bytes)
{
    const bool received = isPresent() && adapter_.receiveOnUart(bytes);
    settle();
    return received;
}

bool AdapterHost::raiseInBandInterrupt(std::size_t target, std::span<const std::uint8_t> payload)
{
    const bool raised = isPresent() && adapter_.raiseInBandInterrupt(target, payload);
    pump();
    return raised;
}

bool AdapterHost::raiseHotJoin(std::size_t target)
{
    const bool raised = isPresent() && adapter_.raiseHotJoin(target);
    pump();
    return raised;
}

} // namespace sim
