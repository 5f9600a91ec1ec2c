// A serial EEPROM: big-endian byte address, pages that a write wraps in, sequential reads that wrap at the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "devices/bus_device.hpp"

namespace sim {

class Eeprom final : public BusDevice {
public:
    struct Geometry {
        std::size_t size;         // bytes in all, a multiple of the page size
        std::size_t pageSize;     // bytes that one write can reach
        std::size_t addressBytes; // bytes of address at the head of a write
    };

    explicit Eeprom(Geometry geometry);

    // A write too short for the whole address changes nothing, not even where the next read begins.
    bool write(std::span<const std::uint8_t> stream) override;
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;

private:
    Geometry geometry_;
    std::vector<std::uint8_t> memory_;
    std::size_t address_ = 0;
};

} // namespace sim
