// What every device of a bench has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "devices/wire.hpp"

namespace sim {

// What a device is doing, besides what its cells hold.
struct Fact {
    std::string name; // in lower snake case
    std::variant<bool, std::int64_t, std::string> value;
};

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

    // For whoever looks at the bench and changes it, past the bus and without what a bus access sets off: the registers
    // or the memory, from address 0. Addresses are below `count`, values fit `bytes`, 1 to 4.
    struct Cells {
        std::size_t count = 0;
        std::size_t bytes = 1;
    };
    virtual Cells cells() const { return {}; }
    virtual std::uint32_t peek(std::size_t /*address*/) const { return 0; }
    virtual void poke(std::size_t /*address*/, std::uint32_t /*value*/) {}
    virtual std::vector<Fact> facts() const { return {}; }

private:
    int resets_ = 0;
};

} // namespace sim
