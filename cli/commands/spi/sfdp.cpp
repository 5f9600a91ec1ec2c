#include "commands/spi/sfdp.hpp"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

constexpr std::uint16_t BASIC = 0xFF00;
constexpr std::uint16_t FOUR_BYTE_COMMANDS = 0xFF84;
constexpr std::size_t HEADER = 8;
constexpr unsigned ERASES = 4; // that a table describes

using Reader = std::function<Bytes(std::uint32_t address, std::size_t count)>;

[[noreturn]] void refuse(const std::string& what)
{
    throw Failure(ExitStatus::REFUSED, fmt::format("the flash's SFDP table {}", what),
                  "try a slower --clock, or give --size, --page and --sector");
}

// One table, as little-endian words. Numbered from 1, as everybody does; words that an older table lacks are zero.
class Table {
public:
    explicit Table(const Bytes& bytes) : bytes_(bytes) {}

    std::size_t count() const { return bytes_.size() / 4; }
    std::uint32_t bits(std::size_t word, unsigned low, unsigned count) const
    {
        return word > this->count() ? 0 : static_cast<std::uint32_t>(whole(word) >> low & ((1ull << count) - 1));
    }

private:
    std::uint64_t whole(std::size_t word) const
    {
        const auto at = [&](std::size_t i) { return std::uint64_t{bytes_[4 * (word - 1) + i]}; };
        return at(0) | at(1) << 8 | at(2) << 16 | at(3) << 24;
    }

    Bytes bytes_;
};

// Empty when there is none.
Table findTable(const Reader& read, const Bytes& headers, std::uint16_t id)
{
    for (std::size_t i = 0; i + HEADER <= headers.size(); i += HEADER) {
        const auto* const header = headers.data() + i;
        if ((header[7] << 8 | header[0]) == id) {
            const auto address = static_cast<std::uint32_t>(header[4] | header[5] << 8 | header[6] << 16);
            return Table(read(address, std::size_t{4} * header[3]));
        }
    }
    return Table({});
}

std::uint64_t sizeOf(const Table& basic)
{
    constexpr std::uint64_t LARGEST = 35; // what four bytes address, in bits
    const std::uint64_t value = basic.bits(2, 0, 31);
    const bool isPower = basic.bits(2, 31, 1) != 0;
    if (isPower && value > LARGEST) {
        refuse(fmt::format("claims 2^{} bits", value));
    }
    const std::uint64_t bytes = (isPower ? std::uint64_t{1} << value : value + 1) / 8;
    if (bytes == 0) {
        refuse("claims less than a byte");
    }
    return bytes;
}

// By the commands of the table for four-byte addresses, if that one is given.
std::vector<FlashErase> erasesOf(const Table& basic, const Table* fourByte)
{
    std::vector<FlashErase> erases;
    for (unsigned i = 0; i < ERASES; ++i) {
        const unsigned word = 8 + i / 2;
        const unsigned low = i % 2 == 0 ? 0 : 16;
        const unsigned exponent = basic.bits(word, low, 8);
        if (exponent < 8 || exponent > 31 || (fourByte != nullptr && fourByte->bits(1, 9 + i, 1) == 0)) {
            continue;
        }
        const unsigned command = fourByte != nullptr ? fourByte->bits(2, 8 * i, 8) : basic.bits(word, low + 8, 8);
        erases.push_back({std::uint64_t{1} << exponent, static_cast<std::uint8_t>(command)});
    }
    std::ranges::sort(erases, {}, &FlashErase::size);
    if (erases.empty()) {
        refuse("names no erase command");
    }
    return erases;
}

// Fills in how the chip is addressed.
void chooseAddressing(FlashParameters& flash, const Table& basic, const Table& fourByte)
{
    constexpr unsigned FOUR_ONLY = 2;
    const bool alwaysFour = basic.bits(1, 17, 2) == FOUR_ONLY || basic.bits(16, 30, 1) != 0;
    const bool hasCommands = fourByte.bits(1, 0, 1) != 0 && fourByte.bits(1, 6, 1) != 0; // to read and to program
    if (alwaysFour) {
        flash.addressBytes = 4;
    } else if (flash.size > THREE_BYTES_REACH && hasCommands) {
        flash.addressBytes = 4;
        flash.readCommand = 0x13;
        flash.programCommand = 0x12;
        flash.erases = erasesOf(basic, &fourByte);
    } else if (flash.size > THREE_BYTES_REACH) {
        throw Failure(ExitStatus::REFUSED,
                      fmt::format("the flash holds {}, and its SFDP table names no commands with 4-byte addresses",
                                  sizeText(flash.size)),
                      "--size 16M reaches the beginning");
    }
}

} // namespace

std::optional<FlashParameters> readSfdp(const Reader& read, std::optional<std::uint64_t> size)
{
    const Bytes header = read(0, HEADER);
    if (!std::ranges::equal(std::span(header).first(4), std::string_view("SFDP"))) {
        return std::nullopt;
    }
    const Bytes headers = read(HEADER, HEADER * (header[6] + 1u));
    const Table basic = findTable(read, headers, BASIC);
    if (basic.count() < 9) {
        refuse(fmt::format("has {} words, not 9 or more", basic.count()));
    }
    const std::uint64_t whole = sizeOf(basic);
    if (size.value_or(0) > whole) {
        throw UsageError(fmt::format("--size: the flash holds {}, not {}", sizeText(whole), sizeText(*size)));
    }
    FlashParameters flash{.size = size.value_or(whole), .erases = erasesOf(basic, nullptr)};
    if (basic.count() >= 11) {
        flash.page = std::uint64_t{1} << basic.bits(11, 4, 4);
    }
    chooseAddressing(flash, basic, findTable(read, headers, FOUR_BYTE_COMMANDS));
    return flash;
}

} // namespace tool
