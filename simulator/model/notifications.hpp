// Notifications that wait until the response of the command that caused them is out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "commands.hpp"
#include "model/frame.hpp"
#include "model/output_frame.hpp"

namespace sim {

class Notifications {
public:
    // A frame to fill in and to hand to `add`.
    static OutputFrame frame(NotificationCode code, std::size_t dataOffset)
    {
        return {0, static_cast<std::uint16_t>(code), dataOffset};
    }

    void add(const OutputFrame& frame) { waiting_.push_back(frame.bytes()); }

    std::vector<Frame> take() { return std::exchange(waiting_, {}); }

private:
    std::vector<Frame> waiting_;
};

} // namespace sim
