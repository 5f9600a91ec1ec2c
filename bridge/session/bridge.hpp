// One bridge: something that other programs open, on one side, and the adapter on the other.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <poll.h>

#include "session/adapter_link.hpp"

namespace bridge {

class Bridge {
public:
    virtual ~Bridge() = default; // leaves nothing behind

    virtual std::string kind() const = 0;   // "uart"
    virtual std::string device() const = 0; // what programs open: "/dev/pts/5"

    // What to wait for, and for how long at most. Then `serve` is called with what came of it.
    virtual pollfd awaited() = 0;
    virtual std::optional<std::chrono::milliseconds> period() const { return std::nullopt; }
    virtual void serve(short events) = 0;

    // Before the end: passes on what programs have left. Throws tool::Interrupted.
    virtual void finish() {}

protected:
    Bridge() = default;
    Bridge(const Bridge&) = delete;
    Bridge& operator=(const Bridge&) = delete;
};

using Bridges = std::span<const std::unique_ptr<Bridge>>;

// Serves the bridges one after another, as the adapter does, until `end` can be read (-1: for ever). Throws
// tool::Interrupted and, unless the adapter is to be taken up again whenever it comes back, tool::Failure when it goes.
void serve(Bridges bridges, AdapterLink& link, bool reconnects, int end);

} // namespace bridge
