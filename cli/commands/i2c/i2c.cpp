// tarvix i2c: the family, and raw transfers.
#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/command.hpp"
#include "commands/i2c/commands.hpp"
#include "commands/i2c/eeprom_commands.hpp"
#include "commands/i2c/messages.hpp"
#include "commands/i2c/port.hpp"

namespace tool {

namespace {

struct TransferOptions {
    I2cPortOptions port;
    std::vector<std::string> words;
    bool raw = false;
};

void transfer(Context& context, const TransferOptions& options)
{
    const std::vector<Message> messages = parseMessages(options.words);
    setUpPort(context, options.port);
    const Message& last = messages.back();
    if (last.reads) {
        const Bytes registerAddress = messages.size() > 1 ? messages.front().data : Bytes{};
        const Bytes bytes = readTarget(context, options.port, last.address, registerAddress, last.length);
        context.output().printData(bytes, 0, {{"bus", options.port.bus}, {"address", last.address}}, options.raw);
    } else {
        writeTarget(context, options.port, last.address, {}, last.data);
        context.output().print({},
                               {{"bus", options.port.bus}, {"address", last.address}, {"written", last.data.size()}});
    }
}

void addTransfer(Commands& i2c)
{
    auto [app, options] = i2c.add<TransferOptions>(
        "transfer", "Run messages as i2ctransfer does: a write, a read, or a write of 1 to 4 bytes followed by a read",
        transfer,
        {"tarvix i2c transfer w1@0x50 0x00 r16", "tarvix i2c transfer r2@0x48",
         "tarvix i2c transfer w9@0x50 0x08 0xff="});
    addTexts(app, "DESCRIPTOR", options.words,
             "{r|w}LENGTH[@ADDRESS]; the bytes of a write follow it. After the last one, = repeats it, + counts "
             "up, - counts down, p continues at random")
        .required();
    addRaw(app, options.raw);
    addPortOptions(app, options.port);
}

} // namespace

void addI2cCommands(Commands& commands)
{
    commands.group("i2c", "I2C: scan, registers, memories, transfers", [](Commands& i2c) {
        addScanCommand(i2c);
        addGetCommand(i2c);
        addSetCommand(i2c);
        addDumpCommand(i2c);
        addTransfer(i2c);
        addEepromCommands(i2c);
    });
}

} // namespace tool
