// Which way the edges of armed pins went.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>

#include "adapter/notifications.hpp"
#include "commands/stream.hpp"

namespace tool {

// The notifications, those of the armed pins with the level that their edge led to. With both edges armed a
// notification does not say which it was: the level does, when it is read before the next edge.
class Edges {
public:
    using ReadPin = std::function<GpioLogicLevel(unsigned pin)>;

    Edges(std::set<unsigned> pins, GpioTriggerType armed, NextEvent next, ReadPin read);

    // As NotificationStream's. The level stays empty when the pin moves too fast to tell.
    std::optional<Event> next(std::optional<std::chrono::milliseconds> idleTimeout);

    bool isOurs(const Event& event) const;

private:
    using Levels = std::map<unsigned, GpioLogicLevel>; // by pin

    void findLevels();
    Levels readPending() const;
    bool takeMore();
    void assign(Levels levels);

    std::set<unsigned> pins_;
    GpioTriggerType armed_;
    NextEvent next_;
    ReadPin read_;
    std::deque<Event> pending_;
};

} // namespace tool
