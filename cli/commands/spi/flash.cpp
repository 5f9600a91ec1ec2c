#include "commands/spi/flash.hpp"

#include <algorithm>
#include <bit>
#include <utility>

#include <fmt/format.h>

#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/memory/programming.hpp"
#include "commands/spi/nor_flash.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

// ---- What is there -------------------------------------------------------------------------------------------------

struct FlashOptions {
    SpiControllerOptions controller;
    std::optional<std::uint64_t> size;
    std::optional<std::uint64_t> page;
    std::optional<std::uint64_t> sector;
};

void addFlashOptions(CLI::App& app, FlashOptions& options)
{
    addChipOptions(app, options.controller);
    addSize(app, "--size", options.size, {256, std::uint64_t{1} << 32},
            "Size of the memory, in place of its own claim");
    addSize(app, "--page", options.page, {1, 4096}, "Page size, in place of the memory's own claim");
    addSize(app, "--sector", options.sector, {256, 1 << 24}, "Erase by this size, in place of all that the memory has");
}

const char* const OPTIONS_NOTE =
    "The memory describes itself by its SFDP table. One without such a table has the size that\n"
    "its JEDEC ID says, pages of 256 bytes and sectors of 4 KiB; --size, --page and --sector say\n"
    "otherwise. With all three of them the table is not read.";

Bytes readParameters(Context& context, std::uint32_t address, std::size_t count)
{
    constexpr std::uint8_t READ_SFDP = 0x5A;
    constexpr std::size_t HEADER = 5; // command, three bytes of address, and one without meaning
    const auto byte = [&](unsigned shift) { return static_cast<std::uint8_t>(address >> shift); };
    Bytes received = exchangeBytes(context, {READ_SFDP, byte(16), byte(8), byte(0)}, HEADER + count);
    received.erase(received.begin(), received.begin() + HEADER);
    return received;
}

FlashParameters parametersWithoutTable(const FlashOptions& options, const Bytes& jedecId)
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
    constexpr std::uint64_t USUAL_SECTOR = 4096;
    const std::uint64_t sector = options.sector.value_or(USUAL_SECTOR);
    const std::uint8_t erase = sector == 4096 ? 0x20 : sector == 32768 ? 0x52 : 0xD8;
    return {.size = *size, .erases = {{sector, erase}}};
}

// What the options say in place of the table.
void applyOptions(FlashParameters& flash, const FlashOptions& options)
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

NorFlash openFlash(Context& context, const FlashOptions& options)
{
    setUpController(context, options.controller);
    const Bytes jedecId = readJedecId(context, options.controller);
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
    return {context, options.controller, std::move(*flash)};
}

// ---- Commands ------------------------------------------------------------------------------------------------------

struct FlashReadOptions {
    FlashOptions flash;
    ReadMemoryOptions what;
};

struct FlashWriteOptions {
    FlashOptions flash;
    WriteMemoryOptions what;
};

struct FlashVerifyOptions {
    FlashOptions flash;
    VerifyMemoryOptions what;
};

struct FlashEraseOptions {
    FlashOptions flash;
    RangeOptions range;
    bool all = false;
    bool noVerify = false;
};

void read(Context& context, const FlashReadOptions& options)
{
    NorFlash flash = openFlash(context, options.flash);
    readMemory(context, flash, options.what);
}

void write(Context& context, const FlashWriteOptions& options)
{
    NorFlash flash = openFlash(context, options.flash);
    writeMemory(context, flash, options.what);
}

void verify(Context& context, const FlashVerifyOptions& options)
{
    NorFlash flash = openFlash(context, options.flash);
    verifyMemory(context, flash, options.what);
}

void erase(Context& context, const FlashEraseOptions& options)
{
    if (options.all == options.range.length.has_value() || (options.all && options.range.offset != 0)) {
        throw UsageError("what to erase is not clear", "give --length, with --offset if it is not 0, or just --all");
    }
    NorFlash flash = openFlash(context, options.flash);
    eraseMemory(context, flash, options.range, !options.noVerify);
}

void addRead(Commands& flash)
{
    auto [app, options] =
        flash.add<FlashReadOptions>("read", "Read a flash memory into a file", read,
                                    {"tarvix spi flash read flash.bin", "tarvix spi flash read --offset 0x1000 -n 64",
                                     "tarvix spi flash read - -n 64k --clock 12.5M | sha256sum"},
                                    OPTIONS_NOTE);
    addReadMemoryOptions(app, options.what);
    addFlashOptions(app, options.flash);
}

void addWrite(Commands& flash)
{
    auto [app, options] = flash.add<FlashWriteOptions>(
        "write", "Make a flash memory hold what a file holds", write,
        {"seq 9999 > image.bin; tarvix spi flash write image.bin",
         "seq 9999 | tarvix spi flash write - --offset 64k --json"},
        fmt::format("Reads first and changes only what differs: erases sectors in which a zero must become a one,\n"
                    "and programs. The rest of a sector that it erases gets back what it held, also after\n"
                    "Ctrl-C. Run an interrupted command again to finish.\n\n{}",
                    OPTIONS_NOTE));
    addWriteMemoryOptions(app, options.what);
    addFlashOptions(app, options.flash);
}

void addVerify(Commands& flash)
{
    auto [app, options] = flash.add<FlashVerifyOptions>(
        "verify", "Exit with 1 unless a flash memory holds what a file holds", verify,
        {"seq 999 > image.bin; tarvix spi flash write image.bin; tarvix spi flash verify image.bin"}, OPTIONS_NOTE);
    addVerifyMemoryOptions(app, options.what);
    addFlashOptions(app, options.flash);
}

void addErase(Commands& flash)
{
    auto [app, options] = flash.add<FlashEraseOptions>(
        "erase", "Set a range of a flash memory, or all of it, to 0xFF", erase,
        {"tarvix spi flash erase --offset 64k --length 4k", "tarvix spi flash erase --all"},
        fmt::format("Sectors that are blank already are not erased again, and the rest of a sector gets back\n"
                    "what it held.\n\n{}",
                    OPTIONS_NOTE));
    addRangeOptions(app, options.range, "Number of bytes");
    addFlag(app, "--all", options.all, "Erase the whole memory");
    addFlag(app, "--no-verify", options.noVerify, "Do not read back whether it is erased");
    addFlashOptions(app, options.flash);
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

void addFlashCommands(Commands& spi)
{
    spi.group("flash", "Read, write, erase and verify a NOR flash memory", [](Commands& flash) {
        addRead(flash);
        addWrite(flash);
        addErase(flash);
        addVerify(flash);
    });
}

} // namespace tool
