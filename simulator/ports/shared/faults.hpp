// Faults on the way from the adapter to the host, drawn from a seeded generator.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>

#include "model/frame.hpp"

namespace sim {

// In the order in which they are drawn.
enum class Fault : std::size_t {
    UNPLUG,    // the adapter vanishes in place of its response
    DROP,      // the frame is lost
    TRUNCATE,  // its end is lost
    GARBAGE,   // some of its bytes are random
    DUPLICATE, // it arrives twice
    DELAY,     // it arrives late, and so do those after it
};

inline constexpr std::array<std::string_view, 6> FAULT_NAMES{"unplug",  "drop",      "truncate",
                                                             "garbage", "duplicate", "delay"};

struct FaultPlan {
    std::array<double, FAULT_NAMES.size()> probability{}; // by Fault; 0 never, 1 always
    std::chrono::milliseconds delay{100};
    std::uint64_t seed = 1;

    double& operator[](Fault fault) { return probability[static_cast<std::size_t>(fault)]; }
    double operator[](Fault fault) const { return probability[static_cast<std::size_t>(fault)]; }
};

// One for each adapter, seeded with the plan's seed plus the adapter's index. The same seed and the same traffic give
// the same faults on every machine: nothing is drawn for a fault outside the plan, and the standard library's
// distributions, which differ between versions, are not used.
class FaultFilter {
public:
    FaultFilter(const FaultPlan& plan, std::size_t index) : plan_(plan), generator_(plan.seed + index) {}

    const FaultPlan& plan() const { return plan_; }
    void set(Fault fault, double probability) { plan_[fault] = probability; }

    // Drawn once for every request.
    bool unplugs() { return strikes(Fault::UNPLUG); }

    struct Passage {
        unsigned copies = 1;
        std::chrono::milliseconds delay{0};
    };

    // Drawn once for every frame that the adapter sends; damages the frame in place.
    Passage pass(Frame& frame);

private:
    bool strikes(Fault fault);
    std::uint64_t below(std::uint64_t limit) { return generator_() % limit; }

    FaultPlan plan_;
    std::mt19937_64 generator_;
};

} // namespace sim
