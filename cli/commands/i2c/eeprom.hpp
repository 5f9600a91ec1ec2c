// An EEPROM on an I2C bus.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "adapter/context.hpp"
#include "commands/i2c/eeprom_parts.hpp"
#include "commands/i2c/port.hpp"
#include "commands/memory/memory.hpp"

namespace tool {

class Eeprom final : public Memory {
public:
    // The port is set up. `inFlight` pages may be unanswered.
    Eeprom(Context& context, const I2cPortOptions& port, std::uint8_t address, EepromPart part, unsigned inFlight = 1);

    const Geometry& geometry() const override { return part_.geometry; }
    Carriage carriage() const override;
    Json fields() const override;
    Bytes read(std::uint64_t offset, std::size_t count) override;
    void erase(const Extent& block) override;
    void write(std::span<const PageWrite> pages, const std::function<void(std::size_t bytes)>& written) override;
    std::string adviceOnDifference() override;

private:
    Context& context_;
    const I2cPortOptions port_;
    const std::uint8_t address_;
    const EepromPart part_;
    const unsigned inFlight_;
    std::chrono::steady_clock::time_point busyUntil_{}; // at the latest
};

} // namespace tool
