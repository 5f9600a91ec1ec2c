// What goes wrong between a device and its bus, on purpose. A bench puts it on the link (links.hpp) of each device, so
// that devices know nothing of it; `Bench::faults` gives it out by the device's name, to be switched at run time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string_view>

#include "devices/world.hpp"

namespace sim {

struct DeviceFaults {
    bool active = false;              // else nothing goes wrong
    double nack = 0;                  // probability of a missing acknowledgement
    std::size_t nackByte = 0;         // of which byte of a write, from 1; 0: of the address
    World::Clock::duration stretch{}; // by which each transfer takes longer
    double flip = 0;                  // probability, for each byte, that one of its bits is wrong
};

// The same seed, name and traffic give the same faults, whatever happens to other devices; nothing is drawn for a fault
// that cannot happen.
class FaultSource {
public:
    FaultSource(const DeviceFaults& faults, std::string_view name, World& world);

    // May be changed at any time, and shows from the next transfer on.
    DeviceFaults& settings() { return faults_; }
    bool isActive() const { return faults_.active; }

    void stretch() const;
    // Of a transfer that brings the device this many bytes: how many of them it acknowledges; none also stands for the
    // address.
    struct Acknowledged {
        bool address;
        std::size_t bytes;
    };
    Acknowledged acknowledged(std::size_t bytes);
    void flip(std::span<std::uint8_t> bytes);

private:
    bool strikes(double probability);

    DeviceFaults faults_;
    World& world_;
    std::mt19937_64 generator_;
};

} // namespace sim
