#include "ports/shared/faults.hpp"

namespace sim {

bool FaultFilter::strikes(Fault fault)
{
    const double probability = plan_[fault];
    if (probability <= 0) {
        return false;
    }
    const double drawn = static_cast<double>(generator_() >> 11) * 0x1.0p-53; // 0 <= drawn < 1, exactly
    return drawn < probability;
}

FaultFilter::Passage FaultFilter::pass(Frame& frame)
{
    Passage passage;
    // Draw every fault, even for a frame that is dropped, to keep the faults independent of each other.
    const bool drop = strikes(Fault::DROP);
    const bool truncate = strikes(Fault::TRUNCATE);
    const bool garbage = strikes(Fault::GARBAGE);
    if (strikes(Fault::DUPLICATE)) {
        passage.copies = 2;
    }
    if (strikes(Fault::DELAY)) {
        passage.delay = plan_.delay;
    }
    if (truncate && !frame.empty()) {
        frame.resize(below(frame.size()));
    }
    if (garbage && !frame.empty()) {
        const auto certain = below(frame.size());
        for (std::size_t i = 0; i < frame.size(); ++i) {
            if (i == certain || below(4) == 0) {
                frame[i] = static_cast<std::uint8_t>(below(256));
            }
        }
    }
    if (drop) {
        passage.copies = 0;
    }
    return passage;
}

} // namespace sim
