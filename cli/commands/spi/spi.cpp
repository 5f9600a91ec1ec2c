// tarvix spi: transfers and flash memories.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/data.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/command.hpp"
#include "commands/spi/controller.hpp"
#include "commands/spi/flash_commands.hpp"
#include "commands/spi/flash_identity.hpp"
#include "console/errors.hpp"
#include "console/output.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

// ---- transfer -----------------------------------------------------------------------------------------------------

struct TransferOptions {
    SpiControllerOptions controller;
    std::vector<std::string> data;
    std::optional<std::uint64_t> length;
    bool raw = false;
};

void transfer(Context& context, const TransferOptions& options)
{
    Bytes data = readData("DATA", options.data, MAX_TRANSFER, options.length.has_value());
    const std::size_t length = std::max<std::size_t>(data.size(), options.length.value_or(0));
    if (options.controller.width == SpiDataWidth::BITS_16 && length % 2 != 0) {
        throw UsageError(fmt::format("--width: 16 bits need an even number of bytes, not {}", length));
    }
    setUpController(context, options.controller);
    context.output().printData(exchangeBytes(context, std::move(data), length), 0,
                               {{"select", static_cast<unsigned>(options.controller.select)}}, options.raw);
}

// ---- id -----------------------------------------------------------------------------------------------------------

struct IdOptions {
    SpiControllerOptions controller;
};

void id(Context& context, const IdOptions& options)
{
    setUpController(context, options.controller);
    const Bytes jedecId = readJedecId(context, options.controller);
    Json fields{{"select", static_cast<unsigned>(options.controller.select)},
                {"data", toHex(jedecId)},
                {"manufacturer", jedecId[0]},
                {"type", jedecId[1]},
                {"capacity", jedecId[2]}};
    std::string text = fmt::format("{}  manufacturer 0x{:02x}, type 0x{:02x}, capacity 0x{:02x}", toHexWords(jedecId),
                                   jedecId[0], jedecId[1], jedecId[2]);
    if (const auto bytes = capacityOf(jedecId)) {
        text += fmt::format(" = {}", sizeText(*bytes));
        fields["bytes"] = *bytes;
    }
    context.output().print(text, fields);
}

// ---- Commands -----------------------------------------------------------------------------------------------------

void addTransfer(Commands& spi)
{
    auto [app, options] =
        spi.add<TransferOptions>("transfer", "Exchange bytes in one transaction and print those received", transfer,
                                 {"tarvix spi transfer --select 1 0x9f hex:deadbeef", "tarvix spi transfer 0x9f -n 4",
                                  "printf hello | tarvix spi transfer --select 1 --raw @-"});
    addData(app, options.data, "Bytes to send");
    addSize(app, "-n,--length", options.length, {1, MAX_TRANSFER}, "Total number of bytes to exchange; zeros pad DATA");
    addRaw(app, options.raw);
    addChipOptions(app, options.controller);
    addWordOptions(app, options.controller);
}

void addId(Commands& spi)
{
    auto [app, options] = spi.add<IdOptions>("id", "Print the JEDEC ID of a flash memory", id,
                                             {"tarvix spi id", "tarvix spi id --select 0 --clock 12.5M --json"});
    addChipOptions(app, options.controller);
}

} // namespace

void addSpiCommands(Commands& commands)
{
    commands.group("spi", "SPI: transfers and flash memories", [](Commands& spi) {
        addTransfer(spi);
        addId(spi);
        addFlashCommands(spi);
    });
}

} // namespace tool
