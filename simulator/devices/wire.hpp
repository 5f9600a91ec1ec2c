// Wires of the bench, and who holds them at which level.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <utility>

namespace sim {

enum class Hold { NOTHING, PULL_LOW, PULL_HIGH, DRIVE_LOW, DRIVE_HIGH };

class Wire {
public:
    using Changed = std::function<void(bool high)>;

    // Adds one who may hold the wire, and who is told when its level changes; returns his number.
    std::size_t add(Changed changed = {})
    {
        ends_.push_back({Hold::NOTHING, std::move(changed)});
        return ends_.size() - 1;
    }

    void onChange(std::size_t end, Changed changed) { ends_[end].changed = std::move(changed); }

    // Who causes a change is the first to be told. What those who are told change of the wire is told afterwards, and
    // no more when the wire swings on and on, as one does that holds itself.
    void hold(std::size_t end, Hold how)
    {
        constexpr int MOST_SWINGS = 8;
        ends_[end].hold = how;
        cause_ = end;
        if (std::exchange(telling_, true)) {
            return;
        }
        for (int swings = 0; swings < MOST_SWINGS && isHigh() != told_; ++swings) {
            tellAll(isHigh(), cause_);
        }
        telling_ = false;
    }

    // Driving wins over pulling, low wins over high, and a wire that nobody holds is low.
    bool isHigh() const
    {
        const auto any = [this](Hold how) {
            return std::ranges::any_of(ends_, [how](const End& end) { return end.hold == how; });
        };
        if (any(Hold::DRIVE_LOW)) {
            return false;
        }
        return any(Hold::DRIVE_HIGH) || (any(Hold::PULL_HIGH) && !any(Hold::PULL_LOW));
    }

private:
    struct End {
        Hold hold;
        Changed changed;
    };

    void tellAll(bool high, std::size_t cause)
    {
        told_ = high;
        tell(cause, high);
        for (std::size_t other = 0; other < ends_.size(); ++other) {
            if (other != cause) {
                tell(other, high);
            }
        }
    }

    void tell(std::size_t end, bool high) const
    {
        if (ends_[end].changed) {
            ends_[end].changed(high);
        }
    }

    std::deque<End> ends_; // who is told may add no others
    bool told_ = false;    // whether all have been told that it is high
    bool telling_ = false;
    std::size_t cause_ = 0; // of the last change
};

// One's own end of a wire; connected to nothing at first.
class WireEnd {
public:
    WireEnd() = default;
    explicit WireEnd(Wire& wire, Wire::Changed changed = {}) : wire_(&wire), end_(wire.add(std::move(changed))) {}

    void hold(Hold how) const
    {
        if (wire_) {
            wire_->hold(end_, how);
        }
    }
    bool isHigh() const { return wire_ && wire_->isHigh(); }
    bool isConnected() const { return wire_ != nullptr; }
    // Who is told when the level changes, in place of who was.
    void onChange(Wire::Changed changed) const
    {
        if (wire_) {
            wire_->onChange(end_, std::move(changed));
        }
    }

private:
    Wire* wire_ = nullptr;
    std::size_t end_ = 0;
};

} // namespace sim
