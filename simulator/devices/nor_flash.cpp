#include "devices/nor_flash.hpp"

#include <algorithm>
#include <array>
#include <utility>

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
    READ_SFDP = 0x5A,
    READ_ID = 0x9F,
    CHIP_ERASE = 0xC7,
};

constexpr std::uint8_t STATUS_BUSY = 0x01;
constexpr std::uint8_t STATUS_WRITE_ENABLED = 0x02;
constexpr std::uint8_t STATUS_PROTECTION = 0x1C; // the block-protect bits

std::size_t addressOf(std::span<const std::uint8_t> operands)
{
    return static_cast<std::size_t>(operands[0] << 16 | operands[1] << 8 | operands[2]);
}

} // namespace

bool NorFlash::isTaken(std::uint8_t command)
{
    constexpr std::array TAKEN{WRITE_STATUS, PAGE_PROGRAM, READ,    WRITE_DISABLE, READ_STATUS,
                               WRITE_ENABLE, READ_SFDP,    READ_ID, CHIP_ERASE};
    return std::ranges::find(TAKEN, command) != TAKEN.end();
}

NorFlash::NorFlash(Parameters parameters, World& world)
    : parameters_(std::move(parameters)),
      world_(world),
      sfdp_(sfdpOf(parameters_)),
      file_(parameters_.keptIn),
      blocks_(parameters_.size / SMALLEST_SECTOR)
{
    for (std::size_t address = 0; address < parameters_.contents.size(); address += SMALLEST_SECTOR) {
        const auto rest = std::span(parameters_.contents).subspan(address);
        const auto block = rest.first(std::min(rest.size(), SMALLEST_SECTOR));
        blocks_[address / SMALLEST_SECTOR].assign(block.begin(), block.end());
        blocks_[address / SMALLEST_SECTOR].resize(SMALLEST_SECTOR, ERASED);
    }
}

std::vector<std::uint8_t> NorFlash::exchange(std::span<const std::uint8_t> sent)
{
    // While the flash has nothing to say, its output floats and reads as ones.
    std::vector<std::uint8_t> received(sent.size(), 0xFF);
    if (sent.empty()) {
        return received;
    }
    const std::uint8_t command = sent.front();
    const auto operands = sent.subspan(1);
    if (command != READ_STATUS && isBusy()) {
        return received;
    }
    answer(command, operands, std::span(received).subspan(1));
    execute(command, operands);
    return received;
}

bool NorFlash::isBusy() const
{
    return busyUntil_ && world_.now() < *busyUntil_;
}

void NorFlash::answer(std::uint8_t command, std::span<const std::uint8_t> operands,
                      std::span<std::uint8_t> received) const
{
    if (command == READ_ID) {
        const auto& id = parameters_.jedecId;
        std::copy_n(id.begin(), std::min(id.size(), received.size()), received.begin());
    } else if (command == READ_STATUS) {
        const unsigned busy = isBusy() ? STATUS_BUSY | STATUS_WRITE_ENABLED : 0u;
        const unsigned enabled = writeEnabled_ ? STATUS_WRITE_ENABLED : 0u;
        std::ranges::fill(received, static_cast<std::uint8_t>(protection_ | enabled | busy));
    } else if (command == READ && operands.size() >= ADDRESS_BYTES) {
        std::size_t address = addressOf(operands);
        for (std::uint8_t& byte : received.subspan(ADDRESS_BYTES)) {
            byte = byteAt(address++);
        }
    } else if (command == READ_SFDP && operands.size() > ADDRESS_BYTES) {
        const auto table = std::span(sfdp_).subspan(std::min(addressOf(operands), sfdp_.size()));
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
        becomeBusy(parameters_.programTime);
    } else if (protection_ != 0) {
        return;
    } else if (command == PAGE_PROGRAM && operands.size() > ADDRESS_BYTES) {
        program(addressOf(operands), operands.subspan(ADDRESS_BYTES));
        becomeBusy(parameters_.programTime);
    } else if (command == CHIP_ERASE) {
        std::ranges::fill(blocks_, std::vector<std::uint8_t>{});
        becomeBusy(parameters_.chipEraseTime);
    } else if (const auto sector = std::ranges::find(parameters_.erases, command, &Erase::command);
               addressed && sector != parameters_.erases.end()) {
        erase(addressOf(operands), *sector);
        becomeBusy(sector->time);
    }
}

// What is to take time is done at once; only nobody gets to see it before.
void NorFlash::becomeBusy(Duration time)
{
    writeEnabled_ = false;
    file_.change();
    if (time > Duration{}) {
        busyUntil_ = world_.now() + time;
    }
}

// Address bits beyond the chip's size are not connected.
std::uint8_t NorFlash::byteAt(std::size_t address) const
{
    const auto& block = blocks_[address % parameters_.size / SMALLEST_SECTOR];
    return block.empty() ? ERASED : block[address % SMALLEST_SECTOR];
}

std::vector<std::uint8_t>& NorFlash::blockOf(std::size_t address)
{
    auto& block = blocks_[address % parameters_.size / SMALLEST_SECTOR];
    block.resize(SMALLEST_SECTOR, ERASED);
    return block;
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
    auto& block = blockOf(address);
    const std::size_t page = address % SMALLEST_SECTOR / PAGE * PAGE;
    for (std::size_t i = 0; i < PAGE; ++i) {
        block[page + i] &= buffer[i];
    }
}

void NorFlash::erase(std::size_t address, const Erase& sector)
{
    const std::size_t first = address % parameters_.size / sector.size * sector.size / SMALLEST_SECTOR;
    for (auto& block : std::span(blocks_).subspan(first, sector.size / SMALLEST_SECTOR)) {
        block.clear();
    }
}

void NorFlash::powerCycle()
{
    writeEnabled_ = false;
    busyUntil_.reset();
    save();
}

NorFlash::~NorFlash()
{
    save();
}

void NorFlash::save()
{
    if (file_.isChanged()) {
        std::vector<std::uint8_t> whole(parameters_.size);
        for (std::size_t address = 0; address < whole.size(); ++address) {
            whole[address] = byteAt(address);
        }
        file_.save(whole, world_);
    }
}

void NorFlash::poke(std::size_t address, std::uint32_t value)
{
    blockOf(address)[address % SMALLEST_SECTOR] = static_cast<std::uint8_t>(value);
    file_.change();
}

std::vector<Fact> NorFlash::facts() const
{
    return {{"write_enabled", writeEnabled_}, {"protection", protection_}, {"busy", isBusy()}};
}

} // namespace sim
