#include "commands/spi/controller.hpp"

#include <string>

#include <fmt/format.h>

#include "arguments/choices.hpp"
#include "console/errors.hpp"

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

} // namespace

void addChipOptions(CLI::App& app, SpiControllerOptions& options)
{
    addChoice(app, "-s,--select", options.select, SELECTS, "Chip-select line");
    addChoice(app, "-m,--mode", options.mode, MODES, "Clock polarity and phase");
    addChoice(app, "--polarity", options.polarity, POLARITIES, "Active level of the chip select");
    addFrequency(app, "-c,--clock", options.clock, {1, 50'000'000}, "Clock frequency: 400k, 1M, 12.5M");
}

void addWordOptions(CLI::App& app, SpiControllerOptions& options)
{
    addChoice(app, "--bit-order", options.bitOrder, BIT_ORDERS, "Bit sent first");
    addChoice(app, "-w,--width", options.width, WIDTHS, "Bits per word");
}

void setUpController(Context& context, const SpiControllerOptions& options)
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

Bytes exchangeBytes(Context& context, Bytes data, std::size_t length)
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

} // namespace tool
