#include "devices/nor_flash.hpp"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr std::size_t PAGE = 256;
constexpr std::size_t ADDRESS_BYTES = 3;
constexpr std::uint8_t ERASED = 0xFF;

enum Command : std::uint8_t {
    PAGE_PROGRAM = 0x02,
    READ = 0x03,
    WRITE_DISABLE = 0x04,
    READ_STATUS = 0x05,
    WRITE_ENABLE = 0x06,
    SECTOR_ERASE = 0x20,
    READ_ID = 0x9F,
    CHIP_ERASE = 0xC7,
};

constexpr std::uint8_t STATUS_WRITE_ENABLED = 0x02;

// Manufacturer (even parity, so nobody's), memory type, capacity as a power of two.
constexpr std::array<std::uint8_t, 3> ID{0x55, 0x40, 0x14};

std::size_t addressOf(std::span<const std::uint8_t> operands)
{
    return static_cast<std::size_t>(operands[0] << 16 | operands[1] << 8 | operands[2]);
}

} // namespace

std::vector<std::uint8_t> NorFlash::exchange(std::span<const std::uint8_t> sent)
{
    // While the flash has nothing to say, its output floats and reads as ones.
    std::vector<std::uint8_t> received(sent.size(), 0xFF);
    if (sent.empty()) {
        return received;
    }
    const std::uint8_t command = sent.front();
    const auto operands = sent.subspan(1);
    answer(command, operands, std::span(received).subspan(1));
    execute(command, operands);
    return received;
}

void NorFlash::answer(std::uint8_t command, std::span<const std::uint8_t> operands,
                      std::span<std::uint8_t> received) const
{
    if (command == READ_ID) {
        std::copy_n(ID.begin(), std::min(ID.size(), received.size()), received.begin());
    } else if (command == READ_STATUS) {
        std::ranges::fill(received, writeEnabled_ ? STATUS_WRITE_ENABLED : std::uint8_t{0});
    } else if (command == READ && operands.size() >= ADDRESS_BYTES) {
        std::size_t address = addressOf(operands);
        for (std::uint8_t& byte : received.subspan(ADDRESS_BYTES)) {
            byte = byteAt(address++);
        }
    }
}

void NorFlash::execute(std::uint8_t command, std::span<const std::uint8_t> operands)
{
    if (command == WRITE_ENABLE) {
        writeEnabled_ = true;
    } else if (command == WRITE_DISABLE) {
        writeEnabled_ = false;
    } else if (writeEnabled_) {
        change(command, operands);
    }
}

void NorFlash::change(std::uint8_t command, std::span<const std::uint8_t> operands)
{
    const bool addressed = operands.size() >= ADDRESS_BYTES;
    if (command == PAGE_PROGRAM && operands.size() > ADDRESS_BYTES) {
        program(addressOf(operands), operands.subspan(ADDRESS_BYTES));
    } else if (command == SECTOR_ERASE && addressed) {
        sectors_[addressOf(operands) % SIZE / SECTOR].clear();
        writeEnabled_ = false;
    } else if (command == CHIP_ERASE) {
        sectors_ = {};
        writeEnabled_ = false;
    }
}

// Address bits beyond the chip's size are not connected.
std::uint8_t NorFlash::byteAt(std::size_t address) const
{
    const auto& sector = sectors_[address % SIZE / SECTOR];
    return sector.empty() ? ERASED : sector[address % SECTOR];
}

void NorFlash::program(std::size_t address, std::span<const std::uint8_t> data)
{
    // Data is collected in a page buffer first: of more than a page, the last bytes for each place count.
    std::array<std::uint8_t, PAGE> buffer;
    buffer.fill(ERASED);
    std::size_t offset = address % PAGE;
    for (const std::uint8_t byte : data) {
        buffer[offset] = byte;
        offset = (offset + 1) % PAGE;
    }
    auto& sector = sectors_[address % SIZE / SECTOR];
    sector.resize(SECTOR, ERASED);
    const std::size_t page = address % SECTOR / PAGE * PAGE;
    for (std::size_t i = 0; i < PAGE; ++i) {
        sector[page + i] &= buffer[i];
    }
    writeEnabled_ = false;
}

void NorFlash::powerCycle()
{
    writeEnabled_ = false;
}

} // namespace sim
