// A temperature sensor with four 16-bit registers behind a pointer; all values travel high byte first.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "devices/bus_device.hpp"
#include "devices/world.hpp"

namespace sim {

class TemperatureSensor final : public BusDevice {
public:
    // Temperatures in 1/256 degree Celsius.
    struct Course {
        std::vector<std::uint16_t> temperatures{0x1780}; // one after the other, and again from the first
        World::Clock::duration period{};                 // of each; zero: the first stays
    };

    TemperatureSensor(Course course, World& world) : course_(std::move(course)), world_(world) { powerCycle(); }

    // The first byte of a write is the pointer, each whole pair after it goes to the register pointed to. The
    // temperature register ignores writes.
    bool write(std::span<const std::uint8_t> stream) override;

    // The register pointed to, over and over.
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;

    Cells cells() const override { return {.count = registers_.size(), .bytes = 2}; }
    std::uint32_t peek(std::size_t address) const override
    {
        return address == TEMPERATURE ? temperature() : registers_[address];
    }
    // A temperature that is set stays, whatever happens to the supply.
    void poke(std::size_t address, std::uint32_t value) override;
    std::vector<Fact> facts() const override { return {{"pointer", static_cast<std::int64_t>(pointer_)}}; }

private:
    static constexpr std::size_t TEMPERATURE = 0;
    // Configuration, low limit, high limit after the temperature, which is not kept here: 75 and 80 degrees.
    static constexpr std::array<std::uint16_t, 4> DEFAULTS{0x0000, 0x0000, 0x4B00, 0x5000};

    std::uint16_t temperature() const;

    Course course_;
    World& world_;
    World::Clock::time_point start_;
    std::array<std::uint16_t, 4> registers_ = DEFAULTS;
    std::size_t pointer_ = TEMPERATURE;
};

} // namespace sim
