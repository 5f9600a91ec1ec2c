// tarvix spi: transfers and flash memories.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/pieces.hpp"
#include "arguments/choices.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/command.hpp"
#include "console/errors.hpp"
#include "console/output.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

const Choices<SpiMode> MODES{
    {"0", SpiMode::MODE_0}, {"1", SpiMode::MODE_1}, {"2", SpiMode::MODE_2}, {"3", SpiMode::MODE_3}};
const Choices<SpiBitOrder> BIT_ORDERS{{"msb", SpiBitOrder::MSB_FIRST}, {"lsb", SpiBitOrder::LSB_FIRST}};
const Choices<SpiDataWidth> WIDTHS{{"8", SpiDataWidth::BITS_8}, {"16", SpiDataWidth::BITS_16}};
const Choices<SpiChipSelect> SELECTS{{"0", SpiChipSelect::SELECT_0},
                                     {"1", SpiChipSelect::SELECT_1},
                                     {"2", SpiChipSelect::SELECT_2},
                                     {"3", SpiChipSelect::SELECT_3}};
const Choices<SpiChipSelectPolarity> POLARITIES{{"low", SpiChipSelectPolarity::ACTIVE_LOW},
                                                {"high", SpiChipSelectPolarity::ACTIVE_HIGH}};

struct ControllerOptions {
    SpiMode mode = SpiMode::MODE_0;
    SpiBitOrder bitOrder = SpiBitOrder::MSB_FIRST;
    SpiDataWidth width = SpiDataWidth::BITS_8;
    SpiChipSelect select = SpiChipSelect::SELECT_0;
    SpiChipSelectPolarity polarity = SpiChipSelectPolarity::ACTIVE_LOW;
    std::uint32_t clock = 1'000'000;
};

// Those of any chip; the rest matters to transfers only.
void addChipOptions(CLI::App& app, ControllerOptions& options)
{
    addChoice(app, "-s,--select", options.select, SELECTS, "Chip-select line");
    addChoice(app, "-m,--mode", options.mode, MODES, "Clock polarity and phase");
    addChoice(app, "--polarity", options.polarity, POLARITIES, "Active level of the chip select");
    addFrequency(app, "-c,--clock", options.clock, {1, 50'000'000}, "Clock frequency: 400k, 1M, 12.5M");
}

void setUpController(Context& context, const ControllerOptions& options)
{
    const std::string settings =
        fmt::format("mode {}, {} first, {} bits, select {} active {}, {} Hz", static_cast<unsigned>(options.mode),
                    options.bitOrder == SpiBitOrder::MSB_FIRST ? "msb" : "lsb",
                    options.width == SpiDataWidth::BITS_8 ? 8 : 16, static_cast<unsigned>(options.select),
                    options.polarity == SpiChipSelectPolarity::ACTIVE_LOW ? "low" : "high", options.clock);
    context.setUp("SPI", settings, [&](TarvixSDK& sdk) {
        return sdk.spiControllerInit(options.bitOrder, options.mode, options.width, options.select, options.polarity,
                                     options.clock);
    });
}

// One transaction of `length` bytes; zeros pad `data`.
Bytes exchange(Context& context, Bytes data, std::size_t length)
{
    Bytes received;
    context.check(context.sdk().spiTransfer(data, received, static_cast<std::uint16_t>(length)),
                  fmt::format("transferring {} bytes", length));
    if (received.size() != length) {
        throw Failure(ExitStatus::REFUSED, fmt::format("the adapter returned {} of {} bytes", received.size(), length),
                      "retry or run 'tarvix reset'");
    }
    return received;
}

// ---- transfer -----------------------------------------------------------------------------------------------------

struct TransferOptions {
    ControllerOptions controller;
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
    context.output().printData(exchange(context, std::move(data), length), 0,
                               {{"select", static_cast<unsigned>(options.controller.select)}}, options.raw);
}

// ---- Flash memories -----------------------------------------------------------------------------------------------

const char* const FLASH_ADVICE = "check --select, --mode, the wiring and 'tarvix rail show'";

struct IdOptions {
    ControllerOptions controller;
};

std::string sizeText(std::uint64_t bytes)
{
    if (bytes >= 1 << 20) {
        return fmt::format("{} MiB", bytes >> 20);
    }
    return bytes >= 1 << 10 ? fmt::format("{} KiB", bytes >> 10) : fmt::format("{} bytes", bytes);
}

void id(Context& context, const IdOptions& options)
{
    constexpr std::uint8_t READ_ID = 0x9F;
    setUpController(context, options.controller);
    const Bytes received = exchange(context, {READ_ID}, 4);
    const Bytes jedecId(received.begin() + 1, received.end());
    const auto all = [&](std::uint8_t level) {
        return std::all_of(jedecId.begin(), jedecId.end(), [level](auto byte) { return byte == level; });
    };
    if (all(0x00) || all(0xFF)) {
        throw Failure(ExitStatus::REFUSED,
                      fmt::format("no flash memory answered on select {}: all bits are {}",
                                  static_cast<unsigned>(options.controller.select), all(0xFF) ? 1 : 0),
                      FLASH_ADVICE);
    }
    Json fields{{"select", static_cast<unsigned>(options.controller.select)},
                {"data", toHex(jedecId)},
                {"manufacturer", jedecId[0]},
                {"type", jedecId[1]},
                {"capacity", jedecId[2]}};
    std::string text = fmt::format("{}  manufacturer 0x{:02x}, type 0x{:02x}, capacity 0x{:02x}", toHexWords(jedecId),
                                   jedecId[0], jedecId[1], jedecId[2]);
    // By custom, the third byte is the power of two.
    if (jedecId[2] >= 8 && jedecId[2] < 40) {
        const std::uint64_t bytes = std::uint64_t{1} << jedecId[2];
        text += fmt::format(" = {}", sizeText(bytes));
        fields["bytes"] = bytes;
    }
    context.output().print(text, fields);
}

struct ReadFlashOptions {
    ControllerOptions controller;
    std::uint64_t offset = 0;
    std::uint64_t length = 256;
    bool raw = false;
};

void readFlash(Context& context, const ReadFlashOptions& options)
{
    constexpr std::uint8_t READ = 0x03;
    constexpr std::size_t HEADER = 4; // command and three bytes of address
    constexpr unsigned CLOCKS_PER_BYTE = 8;
    constexpr std::size_t ANSWER_OVERHEAD = 8 + HEADER; // what the chip sends meanwhile comes back, too
    constexpr std::uint64_t ADDRESSABLE = 1 << 24;      // by three bytes
    if (options.length > ADDRESSABLE - std::min(options.offset, ADDRESSABLE)) {
        throw UsageError(fmt::format("--length: {} bytes starting at {} exceed the {} that 3-byte addresses reach",
                                     options.length, options.offset, sizeText(ADDRESSABLE)));
    }
    setUpController(context, options.controller);
    const Bytes bytes = readInPieces(
        context, "reading flash", options.length, {options.controller.clock, CLOCKS_PER_BYTE, ANSWER_OVERHEAD},
        [&](std::uint64_t done, std::size_t count) {
            Bytes request{READ};
            for (const unsigned shift : {16u, 8u, 0u}) {
                request.push_back(static_cast<std::uint8_t>((options.offset + done) >> shift));
            }
            Bytes received = exchange(context, std::move(request), HEADER + count);
            received.erase(received.begin(), received.begin() + HEADER);
            return received;
        });
    context.output().printData(
        bytes, options.offset,
        {{"select", static_cast<unsigned>(options.controller.select)}, {"offset", options.offset}}, options.raw);
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
    addChoice(app, "--bit-order", options.controller.bitOrder, BIT_ORDERS, "Bit sent first");
    addChoice(app, "-w,--width", options.controller.width, WIDTHS, "Bits per word");
}

void addId(Commands& spi)
{
    auto [app, options] = spi.add<IdOptions>("id", "Print the JEDEC ID of a flash memory", id,
                                             {"tarvix spi id", "tarvix spi id --select 0 --clock 12.5M --json"});
    addChipOptions(app, options.controller);
}

void addReadFlash(Commands& spi)
{
    auto [app, options] =
        spi.add<ReadFlashOptions>("read-flash", "Read a flash memory that uses 3-byte addresses", readFlash,
                                  {"tarvix spi read-flash", "tarvix spi read-flash 0x1000 -n 64",
                                   "tarvix spi read-flash -n 0x100000 --raw > flash.bin"});
    addNumber(app, "OFFSET", options.offset, {0, (1 << 24) - 1}, "First byte");
    addSize(app, "-n,--length", options.length, {1, 1 << 24}, "Number of bytes to read");
    addRaw(app, options.raw);
    addChipOptions(app, options.controller);
}

} // namespace

void addSpiCommands(Commands& commands)
{
    commands.group("spi", "SPI: transfers and flash memories", [](Commands& spi) {
        addTransfer(spi);
        addId(spi);
        addReadFlash(spi);
    });
}

} // namespace tool
