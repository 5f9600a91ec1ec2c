// A 1-MiB SPI NOR flash: 256-byte pages, 4-KiB sectors, three-byte addresses. Programming clears bits, erasing sets
// them; both are done when the chip select is released, so the busy bit never shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "devices/spi_device.hpp"

namespace sim {

class NorFlash final : public SpiDevice {
public:
    NorFlash();

    std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) override;
    void powerCycle() override;

private:
    void answer(std::uint8_t command, std::span<const std::uint8_t> operands, std::span<std::uint8_t> received) const;
    void execute(std::uint8_t command, std::span<const std::uint8_t> operands);
    void change(std::uint8_t command, std::span<const std::uint8_t> operands);
    void program(std::size_t address, std::span<const std::uint8_t> data);
    void erase(std::size_t address, std::size_t size);

    std::vector<std::uint8_t> memory_;
    bool writeEnabled_ = false;
};

} // namespace sim
