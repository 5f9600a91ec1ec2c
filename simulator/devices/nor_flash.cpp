#include "devices/nor_flash.hpp"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr std::size_t PAGE = 256;
constexpr std::size_t ADDRESS_BYTES = 3;
constexpr std::uint8_t ERASED = 0xFF;

enum Command : std::uint8_t {
    WRITE_STATUS = 0x01,
    PAGE_PROGRAM = 0x02,
    READ = 0x03,
    WRITE_DISABLE = 0x04,
    READ_STATUS = 0x05,
    WRITE_ENABLE = 0x06,
    SECTOR_ERASE = 0x20,
    READ_SFDP = 0x5A,
    READ_ID = 0x9F,
    CHIP_ERASE = 0xC7,
};

constexpr std::uint8_t STATUS_WRITE_ENABLED = 0x02;
constexpr std::uint8_t STATUS_PROTECTION = 0x1C; // the block-protect bits

// Manufacturer (even parity, so nobody's), memory type, capacity as a power of two.
constexpr std::array<std::uint8_t, 3> ID{0x55, 0x40, 0x14};

// Serial flash discoverable parameters, version 1.6: header, one parameter header, the basic table of 16 words.
constexpr std::array<std::uint8_t, 80> SFDP{
    'S',  'F',  'D',  'P',  0x06, 0x01, 0x00, 0xFF,                         // one parameter header
    0x00, 0x06, 0x01, 0x10, 0x10, 0x00, 0x00, 0xFF,                         // 16 words from 0x10 on
    0xE5, 0x20, 0x80, 0xFF,                                                 // 4-KiB erase by 0x20, three address bytes
    0xFF, 0xFF, 0x7F, 0x00,                                                 // bits - 1
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,                         // reads by two and four lines: none
    0xEE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0x00, // likewise
    0x0C, 0x20, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF,                         // sizes as powers of two, and commands
    0x00, 0x00, 0x00, 0x00,                                                 // erase times: the shortest there are
    0x80, 0x00, 0x00, 0x80,                                                 // pages of 2^8 bytes
    0x00, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x00,                         // nothing can be suspended
    0x04, 0x00, 0x00, 0x80,                         // bit 0 of the status is busy; no power-down
    0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, // the status is kept without power
};

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
        const auto enabled = writeEnabled_ ? STATUS_WRITE_ENABLED : std::uint8_t{0};
        std::ranges::fill(received, static_cast<std::uint8_t>(protection_ | enabled));
    } else if (command == READ && operands.size() >= ADDRESS_BYTES) {
        std::size_t address = addressOf(operands);
        for (std::uint8_t& byte : received.subspan(ADDRESS_BYTES)) {
            byte = byteAt(address++);
        }
    } else if (command == READ_SFDP && operands.size() > ADDRESS_BYTES) {
        const auto table = std::span(SFDP).subspan(std::min(addressOf(operands), SFDP.size()));
        const auto answered = received.subspan(ADDRESS_BYTES + 1); // after eight clocks without meaning
        std::copy_n(table.begin(), std::min(table.size(), answered.size()), answered.begin());
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
    if (command == WRITE_STATUS && !operands.empty()) {
        protection_ = operands[0] & STATUS_PROTECTION;
        writeEnabled_ = false;
    } else if (protection_ != 0) {
        return;
    } else if (command == PAGE_PROGRAM && operands.size() > ADDRESS_BYTES) {
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

std::vector<std::uint8_t>& NorFlash::sectorOf(std::size_t address)
{
    auto& sector = sectors_[address % SIZE / SECTOR];
    sector.resize(SECTOR, ERASED);
    return sector;
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
    auto& sector = sectorOf(address);
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

void NorFlash::poke(std::size_t address, std::uint32_t value)
{
    sectorOf(address)[address % SECTOR] = static_cast<std::uint8_t>(value);
}

std::vector<Fact> NorFlash::facts() const
{
    return {{"write_enabled", writeEnabled_}, {"protection", protection_}};
}

} // namespace sim
