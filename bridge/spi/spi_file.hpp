// A chip select as the kernel's spidev shows it to programs.
#pragma once

#include "cuse/open_file.hpp"
#include "spi/spi_bus.hpp"

namespace bridge {

class SpiFile final : public OpenFile {
public:
    // The settings are the device's: they hold for all programs, and stay when one closes it.
    SpiFile(SpiBus& bus, SpiSettings& settings) : bus_(bus), settings_(settings) {}

    int ioctl(unsigned command, UserMemory& memory) override;
    Bytes read(std::size_t size) override;
    std::size_t write(std::span<const std::uint8_t> bytes) override;

private:
    int get(UserMemory& memory, std::size_t size, std::uint32_t value) const;
    int setMode(std::uint32_t mode);
    int setWidth(std::uint32_t bits);
    int setClock(std::uint32_t clock);
    int message(UserMemory& memory, std::size_t size);
    Bytes simply(Bytes sent) const; // with the device's own settings
    Bytes exchange(const SpiSettings& settings, Bytes sent) const;

    SpiBus& bus_;
    SpiSettings& settings_;
};

} // namespace bridge
