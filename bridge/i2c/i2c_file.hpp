// An I2C bus as the kernel's i2c-dev shows it to one program.
#pragma once

#include "cuse/open_file.hpp"
#include "i2c/i2c_bus.hpp"

namespace bridge {

class I2cFile final : public OpenFile {
public:
    explicit I2cFile(I2cBus& bus) : bus_(bus) {}

    int ioctl(unsigned command, UserMemory& memory) override;
    Bytes read(std::size_t size) override;
    std::size_t write(std::span<const std::uint8_t> bytes) override;

private:
    int setAddress(std::uint64_t address);
    int combined(UserMemory& memory);
    int smbus(UserMemory& memory) const;

    I2cBus& bus_;
    std::uint8_t address_ = 0;
    bool pec_ = false;
};

} // namespace bridge
