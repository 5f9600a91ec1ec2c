#include "replay/recording.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <stdexcept>
#include <utility>

#include "board/board.hpp"
#include "common/terminal.hpp"
#include "trace/capture/reader.hpp"
#include "trace/conversation/conversation.hpp"

namespace sim {

namespace {

using trace::Event;
using trace::EventKind;

constexpr auto LONGEST_ABSENCE = std::chrono::milliseconds(200); // as under run
constexpr auto LONGEST = std::chrono::hours(24);                 // that anything takes
constexpr std::size_t MOST_ADAPTERS = 128;
constexpr std::size_t LONGEST_TEXT = 126;   // of USB
constexpr std::size_t SHORTEST_REQUEST = 4; // transaction id and code

// What an adapter says of itself comes from a file.
std::string usbText(const std::string& text, const std::string& otherwise)
{
    return text.empty() ? otherwise : terminal::printable(text).substr(0, LONGEST_TEXT);
}

// The events of one adapter, which come when they are certain, put into the order in which they happened.
class Sorter {
public:
    void take(const Event& event)
    {
        adapter_ = event.adapter;
        switch (event.kind) {
        case EventKind::EXCHANGE:
            addRequest(event);
            if (event.response != nullptr) {
                addDeed(Deed::ANSWER, event);
            }
            break;
        case EventKind::UNANSWERED:
        case EventKind::TORN: // what the adapter sent of a torn answer is of no use to anybody
            addRequest(event);
            break;
        case EventKind::NOTIFICATION:
        case EventKind::LATE:
        case EventKind::UNMATCHED:
            addDeed(Deed::SEND, event);
            break;
        case EventKind::OPEN:
            openings_.push_back(event.moment);
            break;
        case EventKind::ERROR:
            addLoss(event);
            break;
        case EventKind::CLOSE:
            break;
        }
    }

    // An adapter that somebody could not open may not have been there at all.
    bool wasThere() const { return !openings_.empty() || !requests_.empty() || !happened_.empty(); }

    Recording recording()
    {
        std::ranges::stable_sort(requests_, {}, &Request::begin);
        dropRequestsToNobody();
        std::vector<Step> steps(requests_.size() + 1);
        for (std::size_t i = 0; i < requests_.size(); ++i) {
            steps[i].request = std::move(requests_[i].frame);
            steps[i].torn = requests_[i].torn;
            steps[i].time = requests_[i].time;
        }
        place(steps);
        return {identity(), std::move(steps)};
    }

private:
    struct Request {
        Frame frame;
        std::int64_t time;
        std::int64_t begin;
        std::int64_t end;
        bool torn;
    };
    struct Happened {
        Deed deed;
        std::int64_t begin;
        std::int64_t end;
        std::int64_t request; // of an answer: when its request began
    };

    void addRequest(const Event& event)
    {
        const bool torn = event.kind == EventKind::TORN;
        if (event.request != nullptr && event.request->bytes.size() >= (torn ? SHORTEST_REQUEST : 0)) {
            requests_.push_back({event.request->bytes, event.time, event.request->begin, event.request->end, torn});
        }
    }

    void addDeed(decltype(Deed::kind) kind, const Event& event)
    {
        happened_.push_back({{kind, event.response->bytes},
                             event.response->begin,
                             event.response->end,
                             event.request != nullptr ? event.request->begin : 0});
    }

    // Every handle that a program has may tell of the same loss.
    void addLoss(const Event& event)
    {
        const bool known = !losses_.empty() && (openings_.empty() || openings_.back() < losses_.back());
        if (event.note.lost && !known) {
            losses_.push_back(event.moment);
            happened_.push_back({{Deed::LEAVE}, event.moment, event.moment, 0});
        }
    }

    // What a program wrote after the adapter had left and before it opened it again has reached nobody.
    void dropRequestsToNobody()
    {
        if (openings_.empty()) {
            return; // the capture does not tell of any
        }
        std::erase_if(requests_, [&](const Request& request) {
            const auto loss = std::ranges::upper_bound(losses_, request.begin);
            const auto opening = std::ranges::upper_bound(openings_, request.begin);
            return loss != losses_.begin() && (opening == openings_.begin() || *(opening - 1) < *(loss - 1));
        });
    }

    // How many requests had begun before then.
    std::size_t requestsBefore(std::int64_t moment) const
    {
        const auto found = std::ranges::lower_bound(requests_, moment, {}, &Request::begin);
        return static_cast<std::size_t>(found - requests_.begin());
    }

    // Each deed goes to the request that it follows. What came before the answer to a request cannot be due to later
    // ones, even if they were on their way already.
    void place(std::vector<Step>& steps)
    {
        std::size_t most = requests_.size();
        for (auto happened = happened_.rbegin(); happened != happened_.rend(); ++happened) {
            const bool answers = happened->deed.kind == Deed::ANSWER;
            const std::size_t count =
                std::min(most, answers ? requestsBefore(happened->request) + 1 : requestsBefore(happened->begin));
            most = answers ? count : most;
            placeBehind(count, *happened, steps);
        }
        for (Step& step : steps) {
            std::ranges::reverse(step.atOpening);
            std::ranges::reverse(step.deeds);
        }
    }

    // Behind so many requests.
    void placeBehind(std::size_t count, Happened& happened, std::vector<Step>& steps)
    {
        Deed& deed = happened.deed;
        const std::int64_t request = count == 0 ? std::numeric_limits<std::int64_t>::min() : requests_[count - 1].end;
        const auto opening = std::ranges::upper_bound(openings_, happened.begin);
        const bool opened = deed.kind != Deed::ANSWER && opening != openings_.begin() && *(opening - 1) > request;
        const std::int64_t before = opened ? *(opening - 1) : count == 0 ? happened.end : request;
        deed.after = std::clamp<std::chrono::nanoseconds>(std::chrono::nanoseconds(happened.end - before), {}, LONGEST);
        if (deed.kind == Deed::LEAVE) {
            deed.absence = absence(happened.begin);
        }
        (opened || count == 0 ? steps[count].atOpening : steps[count - 1].deeds).push_back(std::move(deed));
    }

    // Less than it was, so that a program finds the adapter when it did.
    std::optional<std::chrono::milliseconds> absence(std::int64_t loss) const
    {
        const auto opening = std::ranges::upper_bound(openings_, loss);
        const auto request = std::ranges::upper_bound(requests_, loss, {}, &Request::begin);
        if (opening == openings_.end() && request == requests_.end()) {
            return std::nullopt;
        }
        const std::int64_t back = opening != openings_.end() ? *opening : request->begin;
        return std::min(LONGEST_ABSENCE, std::chrono::duration_cast<std::chrono::milliseconds>(
                                             std::chrono::nanoseconds((back - loss) / 2)));
    }

    UsbIdentity identity() const
    {
        const AdapterBoard usual;
        return {usbText(adapter_->name(), usual.serialNumber),
                adapter_->reportSize == 1024 ? std::size_t{1024} : usual.reportSize,
                usbText(adapter_->manufacturer, usual.manufacturer), usbText(adapter_->product, usual.product)};
    }

    const trace::Adapter* adapter_ = nullptr;
    std::vector<Request> requests_;
    std::vector<Happened> happened_;     // in order
    std::vector<std::int64_t> openings_; // moments, in order
    std::vector<std::int64_t> losses_;   // likewise
};

// An adapter that is plugged in again may be another device on the bus, with the same serial number.
class Sorters {
public:
    void take(const Event& event)
    {
        const std::string name = event.adapter->name();
        auto known = std::ranges::find(sorters_, name, &Named::name);
        if (known == sorters_.end()) {
            known = sorters_.insert(known, {name, {}});
        }
        known->sorter.take(event);
    }

    std::vector<Recording> recordings()
    {
        std::vector<Recording> recordings;
        for (Named& each : sorters_) {
            if (each.sorter.wasThere()) {
                recordings.push_back(each.sorter.recording());
            }
        }
        return recordings;
    }

private:
    struct Named {
        std::string name;
        Sorter sorter;
    };
    std::vector<Named> sorters_;
};

} // namespace

std::vector<Recording> readRecordings(const std::string& capture, std::string& damage)
try {
    Sorters sorters;
    trace::CaptureReader reader(capture);
    trace::Conversation conversation(trace::Table::builtIn(), {}, [&](const Event& event) { sorters.take(event); });
    try {
        for (trace::Record record; reader.next(record);) {
            conversation.take(record);
        }
    } catch (const trace::CaptureError& error) {
        damage = error.what();
    }
    conversation.end();
    auto recordings = sorters.recordings();
    if (recordings.empty()) {
        throw trace::CaptureError(damage.empty() ? capture + ": no traffic of an adapter" : damage,
                                  damage.empty() ? "record with 'tarvix trace'" : "");
    }
    if (recordings.size() > MOST_ADAPTERS) {
        throw trace::CaptureError(
            fmt::format("{}: {} adapters are more than {}", capture, recordings.size(), MOST_ADAPTERS));
    }
    return recordings;
} catch (const trace::CaptureError& error) {
    throw std::runtime_error(error.advice().empty() ? error.what()
                                                    : fmt::format("{}; {}", error.what(), error.advice()));
}

} // namespace sim
