// What devices know of the world outside the bench: the time, and what happens in it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace sim {

// One thread; what a device hands over is called on it, between requests. The world outlives its devices.
class World {
public:
    using Clock = std::chrono::steady_clock;
    // Ends what it stands for when it is destroyed.
    using Subscription = std::shared_ptr<void>;

    World() = default;
    virtual ~World() = default;
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // What all that is drawn on this bench is drawn from.
    virtual std::uint64_t seed() const { return 1; }

    virtual Clock::time_point now() const = 0;
    [[nodiscard]] virtual Subscription after(Clock::duration delay, std::function<void()> handler) = 0;
    // Calls `readable` while the descriptor, which does not block, has something to read.
    [[nodiscard]] virtual Subscription watch(int descriptor, std::function<void()> readable) = 0;

    // The response to the current request comes that much later.
    virtual void stretch(Clock::duration delay) = 0;
    // One line for the user.
    virtual void tell(const std::string& text) = 0;
};

} // namespace sim
