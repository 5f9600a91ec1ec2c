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

    // The reset line was pulled.
    virtual void reset() { powerCycle(); }

    // Wires that reset the device: one more of them is low, or one fewer. While one is, nobody talks to the device.
    void holdReset()
    {
        if (resets_++ == 0) {
            reset();
        }
    }
    void releaseReset() { --resets_; }
    bool isInReset() const { return resets_ > 0; }

    // One of the device's own lines, by its name in the board file, is connected to `end`; called once, before
    // anything else happens.
    virtual void connect(std::string_view /*line*/, WireEnd /*end*/) {}

    // All lines are connected.
    virtual void begin() {}

private:
    int resets_ = 0;
};

} // namespace sim
