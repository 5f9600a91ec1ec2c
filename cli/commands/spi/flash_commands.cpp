#include "commands/spi/flash_commands.hpp"

#include <cstdint>

#include <fmt/format.h>

#include "arguments/options.hpp"
#include "commands/memory/programming.hpp"
#include "commands/spi/controller.hpp"
#include "commands/spi/flash_identity.hpp"
#include "commands/spi/nor_flash.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

struct FlashOptions {
    SpiControllerOptions controller;
    FlashOverrides overrides;
};

void addFlashOptions(CLI::App& app, FlashOptions& options)
{
    addChipOptions(app, options.controller);
    addSize(app, "--size", options.overrides.size, {256, std::uint64_t{1} << 32},
            "Size of the memory, in place of its own claim");
    addSize(app, "--page", options.overrides.page, {1, 4096}, "Page size, in place of the memory's own claim");
    addSize(app, "--sector", options.overrides.sector, {256, 1 << 24},
            "Erase by this size, in place of all that the memory has");
}

const char* const OPTIONS_NOTE =
    "The memory describes itself by its SFDP table. One without such a table has the size that\n"
    "its JEDEC ID says, pages of 256 bytes and sectors of 4 KiB; --size, --page and --sector say\n"
    "otherwise. With all three of them the table is not read.";

NorFlash openFlash(Context& context, const FlashOptions& options)
{
    setUpController(context, options.controller);
    return {context, options.controller, identifyFlash(context, options.controller, options.overrides)};
}

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
    if (options.all == options.range.length.has_value() || (options.all && options.range.offset.value != 0)) {
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
