#include "session/bridge.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace bridge {

namespace {

using namespace std::chrono_literals;

constexpr auto REOPENING_PERIOD = 250ms;

// The adapter's absence, from when it went until it is back.
class Absence {
public:
    Absence(AdapterLink& link, bool reconnects) : link_(link), reconnects_(reconnects) {}

    bool lasts() const { return lasts_; }

    void begin()
    {
        if (lasts_) {
            return;
        }
        if (!reconnects_) {
            throw tool::Failure(tool::ExitStatus::ADAPTER_LOST, "the adapter has left the USB bus",
                                "plug it back in, or use --reconnect");
        }
        terminal::tell("tarvix bridge: the adapter has left the USB bus; waiting until it is back");
        lasts_ = true;
    }

    void tryToEnd()
    {
        try {
            link_.reopen();
            terminal::tell("tarvix bridge: the adapter is back");
            lasts_ = false;
            told_.clear();
        } catch (const tool::Failure& failure) {
            const bool isAway = failure.exitStatus() == tool::ExitStatus::NO_ADAPTER ||
                                failure.exitStatus() == tool::ExitStatus::ADAPTER_LOST;
            const std::string reason = isAway ? "" : failure.what();
            if (!reason.empty() && reason != told_) {
                terminal::tell("tarvix bridge: still waiting for the adapter: " + reason);
            }
            told_ = reason;
        }
    }

private:
    AdapterLink& link_;
    const bool reconnects_;
    bool lasts_ = false;
    std::string told_; // why it cannot be opened though it is there
};

// -1 for as long as it takes.
int longestWait(Bridges bridges, bool absent)
{
    auto wait = absent ? std::optional<std::chrono::milliseconds>(REOPENING_PERIOD) : std::nullopt;
    for (const auto& bridge : bridges) {
        if (const auto period = bridge->period()) {
            wait = std::min(wait.value_or(*period), *period);
        }
    }
    return wait ? static_cast<int>(wait->count()) : -1;
}

} // namespace

void serve(Bridges bridges, AdapterLink& link, bool reconnects, int end)
{
    Absence absence(link, reconnects);
    std::vector<pollfd> awaited;
    auto nextAttempt = std::chrono::steady_clock::now();
    for (;;) {
        tool::throwIfInterrupted();
        awaited.assign({{tool::interruptDescriptor(), POLLIN, 0},
                        {end, POLLIN, 0},
                        {absence.lasts() ? -1 : link.lossDescriptor(), POLLIN, 0}});
        for (const auto& bridge : bridges) {
            awaited.push_back(bridge->awaited());
        }
        if (poll(awaited.data(), awaited.size(), longestWait(bridges, absence.lasts())) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (awaited[1].revents != 0) {
            return;
        }
        if (awaited[2].revents != 0) {
            absence.begin();
        }
        if (const auto now = std::chrono::steady_clock::now(); absence.lasts() && now >= nextAttempt) {
            absence.tryToEnd();
            nextAttempt = now + REOPENING_PERIOD;
        }
        for (std::size_t i = 0; i < bridges.size(); ++i) {
            bridges[i]->serve(awaited[i + 3].revents);
        }
    }
}

} // namespace bridge
