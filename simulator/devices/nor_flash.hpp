// An SPI NOR flash: 256-byte pages, three-byte addresses. Programming clears bits, erasing sets them. What it can do,
// it says in a table of serial flash discoverable parameters.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "devices/kept_file.hpp"
#include "devices/spi_device.hpp"
#include "devices/world.hpp"

namespace sim {

class NorFlash final : public SpiDevice {
public:
    using Duration = World::Clock::duration;

    struct Erase {
        std::size_t size; // bytes, a power of two from SMALLEST_SECTOR
        std::uint8_t command;
        Duration time{};
    };

    struct Parameters {
        std::vector<std::uint8_t> jedecId{0x55, 0x40, 0x14}; // even parity, so nobody's; type; capacity as power of two
        std::size_t size = 0x10'0000;                        // bytes, up to LARGEST, a multiple of each sector size
        std::vector<Erase> erases{{4096, 0x20}};             // up to MOST_ERASES, smallest first
        Duration programTime{};                              // of a page, and of the status
        Duration chipEraseTime{};
        std::vector<std::uint8_t> contents{}; // at first; the rest is erased
        std::string keptIn{};                 // a file
    };

    static constexpr std::size_t SMALLEST_SECTOR = 4096;
    static constexpr std::size_t LARGEST = 0x100'0000;
    static constexpr std::size_t MOST_ERASES = 4;
    // Whether a command has a meaning already and can erase no sectors.
    static bool isTaken(std::uint8_t command);

    NorFlash(Parameters parameters, World& world);
    ~NorFlash() override;

    std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) override;
    void powerCycle() override;

    Cells cells() const override { return {.count = parameters_.size}; }
    std::uint32_t peek(std::size_t address) const override { return byteAt(address); }
    void poke(std::size_t address, std::uint32_t value) override;
    std::vector<Fact> facts() const override;

private:
    bool isBusy() const;
    void answer(std::uint8_t command, std::span<const std::uint8_t> operands, std::span<std::uint8_t> received) const;
    void execute(std::uint8_t command, std::span<const std::uint8_t> operands);
    void change(std::uint8_t command, std::span<const std::uint8_t> operands);
    void becomeBusy(Duration time);
    std::uint8_t byteAt(std::size_t address) const;
    std::vector<std::uint8_t>& blockOf(std::size_t address); // with all its bytes
    void program(std::size_t address, std::span<const std::uint8_t> data);
    void erase(std::size_t address, const Erase& sector);
    void save();

    const Parameters parameters_;
    World& world_;
    const std::vector<std::uint8_t> sfdp_;
    KeptFile file_;
    std::vector<std::vector<std::uint8_t>> blocks_; // of SMALLEST_SECTOR; empty while erased
    bool writeEnabled_ = false;
    std::uint8_t protection_ = 0; // bits of the status; any of them protects the whole chip
    std::optional<World::Clock::time_point> busyUntil_;
};

// The table of a chip, for parsers of such tables.
std::vector<std::uint8_t> sfdpOf(const NorFlash::Parameters& parameters);

} // namespace sim
