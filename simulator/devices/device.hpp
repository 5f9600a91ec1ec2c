// What every device of a bench has.
#pragma once

#include <string_view>

#include "devices/wire.hpp"

namespace sim {

class Device {
public:
    Device() = default;
    virtual ~Device() = default;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // The supply went and came back: what is volatile returns to its first value.
    virtual void powerCycle() = 0;

    // The reset line was pulled. While it is held, nobody talks to the device.
    virtual void reset() { powerCycle(); }

    // One of the device's own lines, by its name in the board file, is connected to `end`; called once, before
    // anything else happens.
    virtual void connect(std::string_view /*line*/, WireEnd /*end*/) {}
};

} // namespace sim
