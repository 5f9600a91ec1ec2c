// The time in a recording. While a bus works it passes at the pace of that bus's clock; between, as it really passes.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>

namespace sim {

class Timeline {
public:
    using Duration = std::chrono::steady_clock::duration;
    using Now = std::function<std::chrono::steady_clock::time_point()>;
    using Ticks = std::chrono::duration<std::uint64_t, std::ratio<1, 100'000'000>>;

    // However soon something follows, it is to be seen apart.
    static constexpr std::chrono::microseconds SHORTEST_PAUSE{1};

    // Longer pauses are cut.
    Timeline(Duration longestPause, Now now) : longestPause_(longestPause), now_(std::move(now)), settled_(now_()) {}

    // Where something begins that happens now: at once after what began since the last `settle`, if anything did.
    std::uint64_t begin()
    {
        if (resting_) {
            const Duration pause = std::min<Duration>(now_() - settled_, longestPause_);
            tick_ += std::chrono::duration_cast<Ticks>(std::max<Duration>(pause, SHORTEST_PAUSE)).count();
            resting_ = false;
        }
        return tick_;
    }
    void moveTo(std::uint64_t tick) { tick_ = tick; }
    std::uint64_t tick() const { return tick_; }
    bool isResting() const { return resting_; }

    void settle()
    {
        settled_ = now_();
        resting_ = true;
    }

private:
    const Duration longestPause_;
    const Now now_;
    std::chrono::steady_clock::time_point settled_;
    std::uint64_t tick_ = 0;
    bool resting_ = true;
};

} // namespace sim
