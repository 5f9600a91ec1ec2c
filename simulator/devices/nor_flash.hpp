// A 1-MiB SPI NOR flash: 256-byte pages, 4-KiB sectors, three-byte addresses. Programming clears bits, erasing sets
// them; both are done when the chip select is released, so the busy bit never shows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "devices/spi_device.hpp"

namespace sim {

class NorFlash final : public SpiDevice {
public:
    std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) override;
    void powerCycle() override;

    Cells cells() const override { return {.count = SIZE}; }
    std::uint32_t peek(std::size_t address) const override { return byteAt(address); }
    void poke(std::size_t address, std::uint32_t value) override;
    std::vector<Fact> facts() const override;

private:
    void answer(std::uint8_t command, std::span<const std::uint8_t> operands, std::span<std::uint8_t> received) const;
    void execute(std::uint8_t command, std::span<const std::uint8_t> operands);
    void change(std::uint8_t command, std::span<const std::uint8_t> operands);
    std::uint8_t byteAt(std::size_t address) const;
    std::vector<std::uint8_t>& sectorOf(std::size_t address); // with all its bytes
    void program(std::size_t address, std::span<const std::uint8_t> data);

    static constexpr std::size_t SIZE = 0x10'0000;
    static constexpr std::size_t SECTOR = 4096;

    std::array<std::vector<std::uint8_t>, SIZE / SECTOR> sectors_; // empty while erased
    bool writeEnabled_ = false;
    std::uint8_t protection_ = 0; // bits of the status; any of them protects the whole chip
};

} // namespace sim
