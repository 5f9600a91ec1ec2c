#include "ports/shared/usb_adapter.hpp"

#include <algorithm>
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

UsbAdapter::UsbAdapter(EventLoop& loop, UsbIdentity identity, Cable& cable)
    : loop_(loop), identity_(std::move(identity)), cable_(cable)
{
}

UsbAdapter::~UsbAdapter()
{
    loop_.cancel(frameTimer_);
    loop_.cancel(returnTimer_);
}

void UsbAdapter::plugIn()
{
    loop_.cancel(returnTimer_);
    if (!present_) {
        powerUp();
        present_ = true;
        cable_.plugIn();
    }
}

void UsbAdapter::pullOut()
{
    leave(std::nullopt);
}

void UsbAdapter::leave(std::optional<std::chrono::milliseconds> time)
{
    loop_.cancel(returnTimer_);
    loop_.cancel(frameTimer_);
    departures_.clear();
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

void UsbAdapter::outputReport(std::span<const std::uint8_t> report)
{
    if (!present_) {
        return;
    }
    if (const Frame* frame = joiner_.take(report.first(std::min(report.size(), reportSize())))) {
        execute(*frame);
    }
}

void UsbAdapter::sendAt(TimePoint due, Frame frame)
{
    departures_.push_back({due, std::move(frame)});
}

void UsbAdapter::leaveAt(TimePoint due, std::optional<std::chrono::milliseconds> time)
{
    departures_.push_back({due, {}, true, time});
}

// Once all is sent that it had to send before.
bool UsbAdapter::mustLeave() const
{
    return reports_.empty() && !departures_.empty() && departures_.front().leaves &&
           departures_.front().due <= EventLoop::Clock::now();
}

void UsbAdapter::sendDueFrames()
{
    const auto now = EventLoop::Clock::now();
    while (!departures_.empty() && departures_.front().due <= now && !departures_.front().leaves) {
        if (reports_.size() < MOST_WAITING_REPORTS) {
            std::ranges::move(cutIntoReports(departures_.front().frame, reportSize()), std::back_inserter(reports_));
        }
        departures_.pop_front();
    }
    loop_.cancel(frameTimer_);
    if (!departures_.empty() && departures_.front().due > now) {
        frameTimer_ = loop_.at(departures_.front().due, [this] { pump(); });
    }
}

void UsbAdapter::pump()
{
    sendDueFrames();
    while (!reports_.empty() && cable_.accepts()) {
        const Report report = std::move(reports_.front());
        reports_.pop_front();
        cable_.carry(report);
    }
    if (mustLeave()) {
        leave(departures_.front().time);
    }
}

void UsbAdapter::pumpSoon()
{
    loop_.cancel(frameTimer_);
    frameTimer_ = loop_.after({}, [this] { pump(); });
}

void UsbAdapter::log(const char* direction, const Frame& frame) const
{
    terminal::tell(fmt::format("tarvix-sim: {} {} {:02x} ({})", serialNumber(), direction, fmt::join(frame, " "),
                               commandName(frame)));
}

} // namespace sim
