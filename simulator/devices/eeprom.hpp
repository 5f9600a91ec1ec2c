// A serial EEPROM: big-endian byte address, pages that a write wraps in, sequential reads that wrap at the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "devices/bus_device.hpp"
#include "devices/kept_file.hpp"
#include "devices/world.hpp"

namespace sim {

class Eeprom final : public BusDevice {
public:
    struct Layout {
        std::size_t size;         // bytes in all, a multiple of the page size
        std::size_t pageSize;     // bytes that one write can reach
        std::size_t addressBytes; // bytes of address at the head of a write
        World::Clock::duration writeTime{};
        std::vector<std::uint8_t> contents{}; // at the beginning; the rest is erased
        std::string keptIn{};                 // a file
    };

    Eeprom(const Layout& layout, World& world);
    ~Eeprom() override;

    // How many addresses on the bus it takes to reach all of it: one for what the address bytes can tell.
    static std::size_t addresses(const Layout& layout);
    void select(std::size_t address) override { block_ = address; }

    // A write too short for the whole address changes nothing, not even where the next read begins. While it writes
    // its memory it acknowledges nothing.
    bool write(std::span<const std::uint8_t> stream) override;
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;
    void reset() override {} // has no such pin

    Cells cells() const override { return {.count = memory_.size()}; }
    std::uint32_t peek(std::size_t address) const override { return memory_[address]; }
    void poke(std::size_t address, std::uint32_t value) override
    {
        memory_[address] = static_cast<std::uint8_t>(value);
        file_.change();
    }
    std::vector<Fact> facts() const override
    {
        return {{"pointer", static_cast<std::int64_t>(address_)}, {"busy", isBusy()}};
    }

private:
    void program(std::span<const std::uint8_t> data);
    bool isBusy() const { return busy_ && world_.now() < *busy_; }

    World& world_;
    const std::size_t pageSize_;
    const std::size_t addressBytes_;
    const World::Clock::duration writeTime_;
    std::vector<std::uint8_t> memory_;
    KeptFile file_;
    std::size_t block_ = 0;
    std::size_t address_ = 0;
    std::optional<World::Clock::time_point> busy_; // until then
};

} // namespace sim
