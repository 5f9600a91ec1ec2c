#include "replay/replayed_adapter.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "common/terminal.hpp"
#include "replay/difference.hpp"

namespace sim {

namespace {

std::uint16_t idOf(const Frame& frame)
{
    return frame.size() < ID_SIZE ? 0 : static_cast<std::uint16_t>(frame[0] | frame[1] << 8);
}

void setId(Frame& frame, unsigned id)
{
    frame[0] = static_cast<std::uint8_t>(id & 0xFF);
    frame[1] = static_cast<std::uint8_t>(id >> 8 & 0xFF);
}

// Without the transaction id.
std::span<const std::uint8_t> compared(const Frame& request)
{
    return std::span(request).subspan(std::min(request.size(), ID_SIZE));
}

Frame keyOf(const Frame& request)
{
    return {compared(request).begin(), compared(request).end()};
}

bool fits(const Step& step, const Frame& request)
{
    const auto expected = compared(step.request);
    const auto received = compared(request);
    const bool longEnough = step.torn ? received.size() >= expected.size() : received.size() == expected.size();
    return longEnough && std::ranges::equal(expected, received.first(expected.size()));
}

} // namespace

ReplayedAdapter::ReplayedAdapter(EventLoop& loop, Recording recording, const ReplayOptions& options, Cable& cable,
                                 TellDifference differs)
    : UsbAdapter(loop, std::move(recording.identity), cable),
      options_(options),
      differs_(std::move(differs)),
      steps_(std::move(recording.steps))
{
    for (std::size_t step = 0; options.lenient && step + 1 < steps_.size(); ++step) {
        if (!steps_[step].torn) {
            occurrences_[keyOf(steps_[step].request)].steps.push_back(step);
        }
    }
}

void ReplayedAdapter::opened()
{
    perform(std::exchange(steps_[next_].atOpening, {}), nullptr, nullptr);
    pumpSoon(); // the port may not be ready to lose the adapter
}

std::optional<std::string> ReplayedAdapter::leftOver() const
{
    std::size_t step = next_;
    while (steps_[step].torn) {
        ++step;
    }
    if (options_.lenient || step + 1 == steps_.size()) {
        return std::nullopt;
    }
    return serialNumber() + ": " + missingFrom(steps_, step);
}

void ReplayedAdapter::execute(const Frame& request)
{
    if (options_.verbose) {
        log("<", request);
    }
    options_.lenient ? playAny(request) : playNext(request);
    pump();
}

void ReplayedAdapter::playNext(const Frame& request)
{
    while (steps_[next_].torn && !fits(steps_[next_], request)) {
        ++next_;
    }
    if (next_ + 1 < steps_.size() && fits(steps_[next_], request)) {
        play(next_, request);
    } else {
        differs_(serialNumber() + ": " + differenceAt(steps_, next_, request));
    }
}

void ReplayedAdapter::playAny(const Frame& request)
{
    const auto found = occurrences_.find(keyOf(request));
    if (found == occurrences_.end()) {
        if (unknown_.insert(keyOf(request)).second) {
            terminal::tell(fmt::format("tarvix-sim: {}: not in the recording, and not answered: {}", serialNumber(),
                                       requestText(request)));
        }
        return;
    }
    Occurrences& occurrences = found->second;
    if (occurrences.played < occurrences.steps.size()) {
        play(occurrences.steps[occurrences.played++], request);
        return;
    }
    const auto isAnswer = [](const Deed& deed) { return deed.kind == Deed::ANSWER; };
    for (auto step = occurrences.steps.rbegin(); step != occurrences.steps.rend(); ++step) {
        const std::vector<Deed>& deeds = steps_[*step].deeds;
        if (const auto answer = std::ranges::find_if(deeds, isAnswer); answer != deeds.end()) {
            perform({*answer}, &steps_[*step].request, &request);
            return;
        }
    }
}

void ReplayedAdapter::play(std::size_t step, const Frame& request)
{
    perform(std::exchange(steps_[step].atOpening, {}), nullptr, nullptr);
    Step& played = steps_[step];
    perform(options_.lenient ? played.deeds : std::exchange(played.deeds, {}), &played.request, &request);
    next_ = step + 1;
}

// Transaction ids are as far from the request's as they were in the recording.
void ReplayedAdapter::perform(std::vector<Deed> deeds, const Frame* recorded, const Frame* request)
{
    const auto now = EventLoop::Clock::now();
    for (Deed& deed : deeds) {
        const auto due = options_.timing ? now + deed.after : now;
        if (deed.kind == Deed::LEAVE) {
            leaveAt(due, deed.absence);
            continue;
        }
        if (request != nullptr && request->size() >= ID_SIZE && idOf(deed.frame) != 0) {
            setId(deed.frame, unsigned{idOf(deed.frame)} + idOf(*request) - idOf(*recorded));
        }
        if (options_.verbose) {
            log(">", deed.frame);
        }
        sendAt(due, std::move(deed.frame));
    }
}

} // namespace sim
