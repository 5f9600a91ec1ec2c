#include "commands/spi/flash_identity.hpp"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "commands/spi/nor_flash.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

Bytes readParameters(Context& context, std::uint32_t address, std::size_t count)
{
    constexpr std::uint8_t READ_SFDP = 0x5A;
    constexpr std::size_t HEADER = 5; // command, three bytes of address, and one without meaning
    const auto byte = [&](unsigned shift) { return static_cast<std::uint8_t>(address >> shift); };
    Bytes received = exchangeBytes(context, {READ_SFDP, byte(16), byte(8), byte(0)}, HEADER + count);
    received.erase(received.begin(), received.begin() + HEADER);
    return received;
}

// A command that erased more than it is taken for would destroy what nobody has read.
FlashErase usualErase(std::uint64_t sector)
{
    constexpr FlashErase USUAL[] = {{4096, 0x20}, {32768, 0x52}, {65536, 0xD8}, {131072, 0xD8}, {262144, 0xD8}};
    const auto* const usual = std::ranges::find(USUAL, sector, &FlashErase::size);
    if (usual == std::end(USUAL)) {
        throw UsageError(fmt::format("--sector: there is no usual command that erases {}", sizeText(sector)),
                         "4k, 32k, 64k, 128k and 256k have one");
    }
    return *usual;
}

FlashParameters parametersWithoutTable(const FlashOverrides& options, const Bytes& jedecId)
{
    const auto size = options.size ? options.size : capacityOf(jedecId);
    if (!size) {
        throw UsageError(fmt::format("--size: JEDEC ID {} does not say how much the flash holds", toHexWords(jedecId)),
                         "give its size");
    }
    if (*size > THREE_BYTES_REACH) {
        throw Failure(ExitStatus::REFUSED,
                      fmt::format("the flash holds {} and has no SFDP table that names commands with 4-byte addresses",
                                  sizeText(*size)),
                      "--size 16M reaches the beginning");
    }
    return {.size = *size, .erases = {usualErase(options.sector.value_or(4096))}};
}

// What the options say in place of the table.
void applyOptions(FlashParameters& flash, const FlashOverrides& options)
{
    flash.page = options.page.value_or(flash.page);
    if (options.sector) {
        std::string sizes;
        for (const FlashErase& erase : flash.erases) {
            sizes += (sizes.empty() ? "" : ", ") + sizeText(erase.size);
        }
        std::erase_if(flash.erases, [&](const FlashErase& erase) { return erase.size != *options.sector; });
        if (flash.erases.empty()) {
            throw UsageError(fmt::format("--sector: the flash erases {}, not {}", sizes, sizeText(*options.sector)));
        }
    }
    if (flash.size % flash.erases.front().size != 0) {
        throw UsageError(fmt::format("--size: {} bytes are no whole number of sectors of {} bytes", flash.size,
                                     flash.erases.front().size));
    }
}

} // namespace

Bytes readJedecId(Context& context, const SpiControllerOptions& controller)
{
    constexpr std::uint8_t READ_ID = 0x9F;
    waitForEarlierChange(context);
    const Bytes received = exchangeBytes(context, {READ_ID}, 4);
    Bytes jedecId(received.begin() + 1, received.end());
    const auto all = [&](std::uint8_t level) {
        return std::all_of(jedecId.begin(), jedecId.end(), [level](auto byte) { return byte == level; });
    };
    if (all(0x00) || all(0xFF)) {
        throw Failure(ExitStatus::REFUSED,
                      fmt::format("no flash memory answered on select {}: all bits are {}",
                                  static_cast<unsigned>(controller.select), all(0xFF) ? 1 : 0),
                      "check --select, --mode, the wiring and 'tarvix rail show'");
    }
    return jedecId;
}

std::optional<std::uint64_t> capacityOf(const Bytes& jedecId)
{
    return jedecId[2] >= 8 && jedecId[2] < 40 ? std::optional(std::uint64_t{1} << jedecId[2]) : std::nullopt;
}

FlashParameters identifyFlash(Context& context, const SpiControllerOptions& controller, const FlashOverrides& options)
{
    const Bytes jedecId = readJedecId(context, controller);
    std::optional<FlashParameters> flash;
    if (!options.size || !options.page || !options.sector) {
        flash =
            readSfdp([&](std::uint32_t address, std::size_t count) { return readParameters(context, address, count); },
                     options.size);
    }
    const bool described = flash.has_value();
    if (!described) {
        flash = parametersWithoutTable(options, jedecId);
    }
    applyOptions(*flash, options);
    context.note(fmt::format("flash of {}, {} an SFDP table: pages of {} bytes, sectors of {}, {}-byte addresses",
                             sizeText(flash->size), described ? "by" : "without", flash->page,
                             sizeText(flash->erases.front().size), flash->addressBytes));
    return *flash;
}

} // namespace tool
