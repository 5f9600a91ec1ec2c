#include "ports/shared/adapter_host.hpp"

#include <algorithm>
#include <sys/epoll.h>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands.hpp"
#include "common/terminal.hpp"

namespace sim {

namespace {

// Reports that may wait for the cable. When the queue is full nobody listens, and later frames are lost.
constexpr std::size_t MOST_WAITING_REPORTS = 8192;

std::string_view commandName(const Frame& frame)
{
    if (frame.size() < 4) {
        return "short frame";
    }
    const unsigned code = frame[2] | static_cast<unsigned>(frame[3]) << 8;
    const auto found = std::find_if(COMMANDS.begin(), COMMANDS.end(),
                                    [&](const CommandInfo& command) { return unsigned(command.code) == code; });
    return found == COMMANDS.end() ? "other" : found->name;
}

} // namespace

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
    : loop_(loop),
      options_(options),
      absence_(absence),
      index_(index),
      serialNumber_(options.adapters.at(index).serialNumber),
      reportSize_(options.adapters.at(index).reportSize),
      cable_(cable),
      world_(std::make_unique<LoopWorld>(loop, *this)),
      adapter_(
          options.adapters.at(index), *world_, [this](const Frame& frame) { send(frame); },
          options.recorder ? &options.recorder->adapter(index) : nullptr),
      faults_(options.faults, index)
{
}

AdapterHost::~AdapterHost()
{
    loop_.cancel(frameTimer_);
    loop_.cancel(returnTimer_);
}

void AdapterHost::plugIn()
{
    loop_.cancel(returnTimer_);
    if (!present_) {
        adapter_.powerUp();
        present_ = true;
        cable_.plugIn();
    }
}

void AdapterHost::pullOut()
{
    leave(std::nullopt);
}

void AdapterHost::leave(std::optional<std::chrono::milliseconds> time)
{
    loop_.cancel(returnTimer_);
    loop_.cancel(frameTimer_);
    frames_.clear();
    reports_.clear();
    joiner_.clear();
    if (present_) {
        present_ = false;
        cable_.pullOut();
    }
    if (time) {
        returnTimer_ = loop_.after(*time, [this] { plugIn(); });
    }
}

void AdapterHost::outputReport(std::span<const std::uint8_t> report)
{
    if (!present_) {
        return;
    }
    if (const Frame* frame = joiner_.take(report.first(std::min(report.size(), reportSize_)))) {
        execute(*frame);
    }
}

void AdapterHost::execute(const Frame& request)
{
    log("<", request);
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
    if (!present_) { // a device has raised an event
        return;
    }
    const auto passage = faults_.pass(frame);
    const auto due = EventLoop::Clock::now() + options_.latency + passage.delay + std::exchange(stretched_, {});
    log(passage.copies == 0 ? "> lost:" : ">", frame);
    for (unsigned copy = 0; copy < passage.copies; ++copy) {
        frames_.push_back({due, frame});
    }
}

void AdapterHost::sendDueFrames()
{
    const auto now = EventLoop::Clock::now();
    while (!frames_.empty() && frames_.front().due <= now) {
        if (reports_.size() < MOST_WAITING_REPORTS) {
            std::ranges::move(cutIntoReports(frames_.front().frame, reportSize_), std::back_inserter(reports_));
        }
        frames_.pop_front();
    }
    loop_.cancel(frameTimer_);
    if (!frames_.empty()) {
        frameTimer_ = loop_.at(frames_.front().due, [this] { pump(); });
    }
}

void AdapterHost::settle()
{
    adapter_.settle();
    pump();
}

void AdapterHost::pump()
{
    sendDueFrames();
    while (!reports_.empty() && cable_.accepts()) {
        const Report report = std::move(reports_.front());
        reports_.pop_front();
        cable_.carry(report);
    }
}

bool AdapterHost::receiveOnUart(std::span<const std::uint8_t> bytes)
{
    const bool received = present_ && adapter_.receiveOnUart(bytes);
    settle();
    return received;
}

bool AdapterHost::raiseInBandInterrupt(std::size_t target, std::span<const std::uint8_t> payload)
{
    const bool raised = present_ && adapter_.raiseInBandInterrupt(target, payload);
    pump();
    return raised;
}

bool AdapterHost::raiseHotJoin(std::size_t target)
{
    const bool raised = present_ && adapter_.raiseHotJoin(target);
    pump();
    return raised;
}

void AdapterHost::log(const char* direction, const Frame& frame) const
{
    if (options_.verbose) {
        terminal::tell(fmt::format("tarvix-sim: {} {} {:02x} ({})", serialNumber_, direction, fmt::join(frame, " "),
                                   commandName(frame)));
    }
}

} // namespace sim
