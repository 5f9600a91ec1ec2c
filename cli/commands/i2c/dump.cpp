// tarvix i2c dump
#include <algorithm>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/pieces.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/i2c/commands.hpp"
#include "commands/i2c/each.hpp"
#include "commands/i2c/port.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

struct DumpOptions {
    I2cPortOptions port;
    std::uint8_t address = 0;
    RegisterOptions reg{.text = "0"};
    std::optional<Given> length;
    bool each = false;
    bool raw = false;
};

void printEach(Output& output, const EachRegister& read, std::uint64_t first, Json fields)
{
    fields["data"] = toHex(read.bytes);
    for (const std::uint64_t position : read.absent) {
        fields["absent"].push_back(first + position);
    }
    output.print(hexdump(read.bytes, first, read.absent), fields);
}

void dump(Context& context, const DumpOptions& options)
{
    const std::uint64_t first = registerNumber(options.reg);
    const std::uint64_t available = (std::uint64_t{1} << (8 * options.reg.bytes)) - first;
    const std::uint64_t length = options.length ? options.length->value : std::min<std::uint64_t>(256, available);
    if (options.length) {
        requireAddressable("--length", options.reg, *options.length);
    }
    if (options.each && options.raw) {
        throw UsageError("--raw: cannot be combined with --each, which may find registers without a value",
                         "use --json");
    }
    setUpPort(context, options.port);
    const Json fields{{"bus", options.port.bus}, {"address", options.address}, {"offset", first}};
    if (options.each) {
        printEach(context.output(), readEach(context, options.port, options.address, first, length, options.reg.bytes),
                  first, fields);
        return;
    }
    printInPieces(
        context, fmt::format("dumping 0x{:02x}", options.address), length, carriageOf(options.port),
        [&](auto done, auto count) {
            return readTarget(context, options.port, options.address, encodeRegister(first + done, options.reg.bytes),
                              count);
        },
        first, fields, options.raw);
}

} // namespace

void addDumpCommand(Commands& i2c)
{
    auto [app, options] =
        i2c.add<DumpOptions>("dump", "Read a memory or a range of registers", dump,
                             {"tarvix i2c dump 0x50", "tarvix i2c dump 0x50 0x80 -n 32", "tarvix i2c dump --each 0x50",
                              "tarvix i2c dump --bus 1 --reg-bytes 2 0x51 -n 32768 --raw > eeprom.bin"});
    addTargetAddress(app, options.address);
    addText(app, "REGISTER", options.reg.text, "First register [0]");
    addNumber(app, "--reg-bytes", options.reg.bytes, {1, 4}, "Size of the register address in bytes");
    addSize(app, "-n,--length", options.length, {1, 16 << 20}, "Number of bytes to read; up to 256 by default");
    addFlag(app, "--each", options.each,
            "Read register by register, as i2cdump does; XX stands for one that does not acknowledge");
    addRaw(app, options.raw);
    addPortOptions(app, options.port);
}

} // namespace tool
