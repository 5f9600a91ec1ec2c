#include "commands/i2c/eeprom_commands.hpp"

#include <utility>

#include "arguments/options.hpp"
#include "commands/i2c/eeprom.hpp"
#include "commands/memory/programming.hpp"

namespace tool {

namespace {

struct EepromOptions {
    I2cPortOptions port;
    std::uint8_t address = 0;
    EepromPartOptions part;
};

void addEepromOptions(CLI::App& app, EepromOptions& options)
{
    addText(app, "--part", options.part.part, eepromPartNames()).valueName("NAME");
    addSize(app, "--size", options.part.size, {1, 1 << 24}, "Size of the memory, in place of --part");
    addSize(app, "--page", options.part.page, {1, 4096}, "Page size, 8 by default");
    addNumber(app, "--reg-bytes", options.part.registerBytes, {1, 3},
              "Size of the register address in bytes, 1 by default");
    addPortOptions(app, options.port);
}

Eeprom openEeprom(Context& context, const EepromOptions& options, unsigned inFlight = 1)
{
    EepromPart part = eepromPart(options.part);
    requireFirstAddress(part, options.address);
    setUpPort(context, options.port);
    return {context, options.port, options.address, std::move(part), inFlight};
}

struct EepromReadOptions {
    EepromOptions eeprom;
    ReadMemoryOptions what;
};

struct EepromWriteOptions {
    EepromOptions eeprom;
    WriteMemoryOptions what;
    unsigned inFlight = 1;
};

struct EepromVerifyOptions {
    EepromOptions eeprom;
    VerifyMemoryOptions what;
};

void read(Context& context, const EepromReadOptions& options)
{
    Eeprom eeprom = openEeprom(context, options.eeprom);
    readMemory(context, eeprom, options.what);
}

void write(Context& context, const EepromWriteOptions& options)
{
    Eeprom eeprom = openEeprom(context, options.eeprom, options.inFlight);
    writeMemory(context, eeprom, options.what);
}

void verify(Context& context, const EepromVerifyOptions& options)
{
    Eeprom eeprom = openEeprom(context, options.eeprom);
    verifyMemory(context, eeprom, options.what);
}

void addRead(Commands& eeprom)
{
    auto [app, options] =
        eeprom.add<EepromReadOptions>("read", "Read an EEPROM into a file", read,
                                      {"tarvix i2c eeprom read 0x50 eeprom.bin --part 24c02",
                                       "tarvix i2c eeprom read --bus 1 0x51 --part 24c256 --offset 0x100 -n 64",
                                       "tarvix i2c eeprom read --bus 1 0x51 - --part 24c256 | sha256sum"});
    addTargetAddress(app, options.eeprom.address);
    addReadMemoryOptions(app, options.what);
    addEepromOptions(app, options.eeprom);
}

void addWrite(Commands& eeprom)
{
    auto [app, options] = eeprom.add<EepromWriteOptions>(
        "write", "Make an EEPROM hold what a file holds", write,
        {"seq 60 > image.bin; tarvix i2c eeprom write 0x50 image.bin --part 24c02",
         "seq 999 | tarvix i2c eeprom write --bus 1 0x51 - --size 32k --page 64 --reg-bytes 2 --json"},
        "Reads first and writes only what differs, page by page: a cell wears with each write. Run an\n"
        "interrupted command again to finish. With --in-flight, pages follow each other without\n"
        "waiting for answers, as 'tarvix i2c set --help' explains.");
    addTargetAddress(app, options.eeprom.address);
    addWriteMemoryOptions(app, options.what);
    addNumber(app, "--in-flight", options.inFlight, {1, 63}, "Number of pages that may wait for their answers");
    addEepromOptions(app, options.eeprom);
}

void addVerify(Commands& eeprom)
{
    auto [app, options] = eeprom.add<EepromVerifyOptions>(
        "verify", "Exit with 1 unless an EEPROM holds what a file holds", verify,
        {"seq 60 > image.bin; tarvix i2c eeprom write 0x50 image.bin --part 24c02; tarvix i2c eeprom verify 0x50 "
         "image.bin --part 24c02"});
    addTargetAddress(app, options.eeprom.address);
    addVerifyMemoryOptions(app, options.what);
    addEepromOptions(app, options.eeprom);
}

} // namespace

void addEepromCommands(Commands& i2c)
{
    i2c.group("eeprom", "Read, write and verify an EEPROM", [](Commands& eeprom) {
        addRead(eeprom);
        addWrite(eeprom);
        addVerify(eeprom);
    });
}

} // namespace tool
