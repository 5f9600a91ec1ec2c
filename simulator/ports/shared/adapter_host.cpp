#include "ports/shared/adapter_host.hpp"

#include <algorithm>
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

std::string serialNumberOf(const std::string& text, std::size_t index)
{
    const auto digits = text.find_last_not_of("0123456789") + 1;
    if (digits == text.size()) {
        return index == 0 ? text : text + std::to_string(index + 1);
    }
    std::string number = text.substr(digits);
    for (; index > 0; --index) {
        const auto carried = number.find_last_not_of('9');
        const auto nines = carried == std::string::npos ? 0 : carried + 1;
        std::fill(number.begin() + static_cast<std::ptrdiff_t>(nines), number.end(), '0');
        if (carried == std::string::npos) {
            number.insert(0, 1, '1');
        } else {
            ++number[carried];
        }
    }
    return text.substr(0, digits) + number;
}

AdapterHost::AdapterHost(EventLoop& loop, const HostOptions& options, const AbsenceTimes& absence, std::size_t index,
                         Cable& cable)
    : loop_(loop),
      options_(options),
      absence_(absence),
      serialNumber_(serialNumberOf(options.serialNumber, index)),
      cable_(cable),
      adapter_(serialNumber_, [this](const Frame& frame) { send(frame); }),
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
    if (const Frame* frame = joiner_.take(report.first(std::min(report.size(), options_.reportSize)))) {
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
    const auto passage = faults_.pass(frame);
    const auto due = EventLoop::Clock::now() + options_.latency + passage.delay;
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
            std::ranges::move(cutIntoReports(frames_.front().frame, options_.reportSize), std::back_inserter(reports_));
        }
        frames_.pop_front();
    }
    loop_.cancel(frameTimer_);
    if (!frames_.empty()) {
        frameTimer_ = loop_.at(frames_.front().due, [this] { pump(); });
    }
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
