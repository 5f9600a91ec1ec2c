#include "commands/gpio/edges.hpp"

#include <cstddef>
#include <utility>

#include "commands/gpio/pins.hpp"

namespace tool {

Edges::Edges(std::set<unsigned> pins, GpioTriggerType armed, NextEvent next, ReadPin read)
    : pins_(std::move(pins)), armed_(armed), next_(std::move(next)), read_(std::move(read))
{
}

std::optional<Event> Edges::next(std::optional<std::chrono::milliseconds> idleTimeout)
{
    if (pending_.empty()) {
        auto event = next_(idleTimeout);
        if (!event || !isOurs(*event)) {
            return event;
        }
        pending_.push_back(std::move(*event));
        findLevels();
    }
    Event event = std::move(pending_.front());
    pending_.pop_front();
    return event;
}

bool Edges::isOurs(const Event& event) const
{
    return event.kind == NotificationKind::GPIO_INTERRUPT && event.complete && pins_.count(event.pin) != 0;
}

// A read during which nothing was reported tells the level after the last edge.
void Edges::findLevels()
{
    constexpr int ATTEMPTS = 8; // then the pins move too fast
    if (armed_ != GpioTriggerType::BOTH_EDGES) {
        pending_.back().level = armed_ == GpioTriggerType::RISING_EDGE ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW;
        return;
    }
    for (int i = 0; i < ATTEMPTS; ++i) {
        Levels levels = readPending();
        if (!takeMore()) {
            assign(std::move(levels));
            return;
        }
    }
}

// The levels now of the pins that have edges pending.
Edges::Levels Edges::readPending() const
{
    Levels levels;
    for (const Event& event : pending_) {
        if (levels.count(event.pin) == 0) {
            levels[event.pin] = read_(event.pin);
        }
    }
    return levels;
}

// Takes the edges that were reported meanwhile. Whether there were any.
bool Edges::takeMore()
{
    constexpr std::size_t MOST = 1000; // of pins that never rest
    const std::size_t before = pending_.size();
    while (pending_.size() < MOST) {
        auto event = next_(std::chrono::milliseconds(0));
        if (!event) {
            return pending_.size() > before;
        }
        if (isOurs(*event)) {
            pending_.push_back(std::move(*event));
        }
    }
    return true;
}

// From the last edge of each pin back: every edge before it led to the opposite level.
void Edges::assign(Levels levels)
{
    for (auto event = pending_.rbegin(); event != pending_.rend(); ++event) {
        GpioLogicLevel& level = levels.at(event->pin);
        event->level = level;
        level = opposite(level);
    }
}

} // namespace tool
