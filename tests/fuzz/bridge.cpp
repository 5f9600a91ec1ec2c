// What programs may ask of a bridge's devices: ioctls with any number and argument, on memory that is different each
// time it is fetched.
#include <cerrno>

#include <linux/i2c-dev.h>
#include <linux/spi/spidev.h>

#include "fuzz.hpp"
#include "i2c/i2c_file.hpp"
#include "spi/spi_file.hpp"

namespace {

using namespace bridge;

class I2c final : public I2cBus {
public:
    void write(std::uint8_t address, std::span<const std::uint8_t> bytes) override
    {
        fuzz::require(address <= 0x7F && bytes.size() <= 8192, "a write that fits");
        fuzz::touch(bytes);
    }
    Bytes read(std::uint8_t address, std::span<const std::uint8_t> sent, std::uint16_t length) override
    {
        fuzz::require(address <= 0x7F && sent.size() <= MOST_BEFORE_READ && length >= 1 && length <= 8192, "a read");
        fuzz::touch(sent);
        return Bytes(length);
    }
};

class Spi final : public SpiBus {
public:
    Bytes transfer(const SpiSettings& settings, std::span<const std::uint8_t> sent) override
    {
        fuzz::require(!sent.empty() && sent.size() <= LONGEST, "a transfer that fits");
        fuzz::require(settings.clock >= 1 && settings.clock <= FASTEST, "a clock that the adapter has");
        fuzz::touch(sent);
        return Bytes(sent.size());
    }
    void pause(std::chrono::microseconds) override {}
};

constexpr unsigned COMMANDS[] = {
    I2C_SLAVE,
    I2C_TENBIT,
    I2C_FUNCS,
    I2C_RDWR,
    I2C_PEC,
    I2C_SMBUS,
    I2C_TIMEOUT,
    SPI_IOC_WR_MODE,
    SPI_IOC_RD_MODE,
    SPI_IOC_WR_MODE32,
    SPI_IOC_WR_BITS_PER_WORD,
    SPI_IOC_WR_MAX_SPEED_HZ,
    SPI_IOC_MESSAGE(1),
    SPI_IOC_MESSAGE(2),
    SPI_IOC_MESSAGE(3),
};

std::size_t sizeOf(const std::vector<Area>& areas)
{
    std::size_t size = 0;
    for (const Area& area : areas) {
        size += area.size;
    }
    return size;
}

// As the kernel makes a call: again while it asks for memory, which the program may have changed. At most as often as a
// program would try.
void call(OpenFile& file, unsigned command, fuzz::Input& input)
{
    const std::uint64_t argument = input.u16() | std::uint64_t{input.u8()} << 40;
    const bool compat = input.u8() % 2 != 0;
    Bytes fetched;
    std::size_t room = 0;
    for (int round = 0; round < 8; ++round) {
        UserMemory memory(argument, compat, fetched, room);
        try {
            file.ioctl(command, memory);
            fuzz::require(memory.written().size() <= room, "no more is written than was announced");
            return;
        } catch (const UserMemory::Incomplete&) {
            fuzz::require(memory.from().size() + memory.to().size() <= 256 && sizeOf(memory.from()) <= 131'072 &&
                              sizeOf(memory.to()) <= 131'072,
                          "the kernel can fetch that");
            fetched = input.bytes(sizeOf(memory.from()));
            fetched.resize(sizeOf(memory.from()));
            room = sizeOf(memory.to());
        }
    }
}

} // namespace

void fuzz::run(Input input)
{
    I2c i2c;
    Spi spi;
    SpiSettings settings;
    I2cFile bus(i2c);
    SpiFile chip(spi, settings);
    OpenFile* const files[] = {&bus, &chip};
    while (!input.empty()) {
        const std::uint8_t choice = input.u8();
        OpenFile& file = *files[choice % 2];
        const std::size_t index = choice / 2U;
        const unsigned command = index < std::size(COMMANDS) ? COMMANDS[index] : input.u16() | input.u16() * 0x10000U;
        try {
            if (index == 100) {
                file.read(input.u16());
            } else if (index == 101) {
                file.write(input.counted());
            } else {
                call(file, command, input);
            }
        } catch (const Errno& error) {
            require(error.number > 0, "an error has a number");
        }
    }
}
