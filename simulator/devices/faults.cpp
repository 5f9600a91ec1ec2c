#include "devices/faults.hpp"

#include <algorithm>

namespace sim {

namespace {

// FNV-1a: the same on every machine, unlike std::hash.
std::uint64_t hashOf(std::string_view text)
{
    std::uint64_t hash = 0xCBF2'9CE4'8422'2325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100'0000'01B3;
    }
    return hash;
}

} // namespace

FaultSource::FaultSource(const DeviceFaults& faults, std::string_view name, World& world)
    : faults_(faults), world_(world), generator_(world.seed() ^ hashOf(name))
{
}

bool FaultSource::strikes(double probability)
{
    if (probability <= 0) {
        return false;
    }
    return static_cast<double>(generator_() >> 11) * 0x1.0p-53 < probability; // drawn exactly from 0 to below 1
}

void FaultSource::stretch() const
{
    if (faults_.stretch > World::Clock::duration::zero()) {
        world_.stretch(faults_.stretch);
    }
}

FaultSource::Acknowledged FaultSource::acknowledged(std::size_t bytes)
{
    if (faults_.nackByte > bytes || !strikes(faults_.nack)) {
        return {true, bytes};
    }
    return {faults_.nackByte > 0, faults_.nackByte > 0 ? faults_.nackByte - 1 : 0};
}

void FaultSource::flip(std::span<std::uint8_t> bytes)
{
    if (faults_.flip <= 0) {
        return;
    }
    for (std::uint8_t& byte : bytes) {
        if (strikes(faults_.flip)) {
            byte ^= static_cast<std::uint8_t>(1u << generator_() % 8);
        }
    }
}

} // namespace sim
