// A world for virtual adapters in which time passes only when the test says so.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "board/read_board.hpp"
#include "devices/world.hpp"

class StillWorld final : public sim::World {
public:
    explicit StillWorld(std::uint64_t seed = 1) : seed_(seed) {}

    std::uint64_t seed() const override { return seed_; }
    Clock::time_point now() const override { return now_; }

    Subscription after(Clock::duration delay, std::function<void()> handler) override
    {
        const auto timer = timers_.emplace(now_ + delay, std::make_shared<std::function<void()>>(std::move(handler)));
        return {nullptr, [this, handler = std::weak_ptr(timer->second)](void*) {
                    std::erase_if(timers_, [&](const auto& entry) { return entry.second == handler.lock(); });
                }};
    }
    Subscription watch(int, std::function<void()>) override { return {}; }
    void stretch(Clock::duration delay) override { stretched += delay; }
    void tell(const std::string& text) override { told.push_back(text); }

    void pass(Clock::duration time)
    {
        const auto end = now_ + time;
        while (!timers_.empty() && timers_.begin()->first <= end) {
            now_ = std::max(now_, timers_.begin()->first);
            const auto handler = timers_.begin()->second;
            timers_.erase(timers_.begin());
            (*handler)();
        }
        now_ = end;
    }

    // Time in which nobody runs what is due.
    void stall(Clock::duration time) { now_ += time; }

    Clock::duration stretched{};
    std::vector<std::string> told;

private:
    const std::uint64_t seed_;
    Clock::time_point now_{};
    std::multimap<Clock::time_point, std::shared_ptr<std::function<void()>>> timers_;
};

// The default board with another serial number.
inline sim::AdapterBoard defaultBoardAs(const std::string& serialNumber)
{
    sim::AdapterBoard board = sim::defaultBoard().front();
    board.serialNumber = serialNumber;
    return board;
}
