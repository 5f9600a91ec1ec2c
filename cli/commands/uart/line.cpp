#include "commands/uart/line.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "arguments/choices.hpp"
#include "console/progress.hpp"

namespace tool {

namespace {

const Choices<Baud> BAUDS{
    {"1200", {UartBaudRate::BAUD_1200, 1200}},       {"2400", {UartBaudRate::BAUD_2400, 2400}},
    {"4800", {UartBaudRate::BAUD_4800, 4800}},       {"9600", {UartBaudRate::BAUD_9600, 9600}},
    {"19200", {UartBaudRate::BAUD_19200, 19200}},    {"38400", {UartBaudRate::BAUD_38400, 38400}},
    {"57600", {UartBaudRate::BAUD_57600, 57600}},    {"115200", {UartBaudRate::BAUD_115200, 115200}},
    {"230400", {UartBaudRate::BAUD_230400, 230400}}, {"460800", {UartBaudRate::BAUD_460800, 460800}},
    {"921600", {UartBaudRate::BAUD_921600, 921600}}};
const Choices<UartParity> PARITIES{{"none", UartParity::NONE}, {"odd", UartParity::ODD}, {"even", UartParity::EVEN}};
const Choices<UartDataSize> DATA_SIZES{
    {"5", UartDataSize::BITS_5}, {"6", UartDataSize::BITS_6}, {"7", UartDataSize::BITS_7}, {"8", UartDataSize::BITS_8}};
const Choices<UartStopBit> STOPS{{"1", UartStopBit::ONE}, {"2", UartStopBit::TWO}};
const Choices<UartHwHandshake> HANDSHAKES{{"none", UartHwHandshake::DISABLED}, {"rts-cts", UartHwHandshake::ENABLED}};

} // namespace

void addLineOptions(CLI::App& app, LineOptions& options)
{
    addChoice(app, "-b,--baud", options.baud, BAUDS, "Bits per second");
    addChoice(app, "-p,--parity", options.parity, PARITIES, "Parity bit");
    addChoice(app, "--bits", options.bits, DATA_SIZES, "Data bits per character");
    addChoice(app, "--stop", options.stop, STOPS, "Stop bits");
    addChoice(app, "--handshake", options.handshake, HANDSHAKES, "Hardware flow control");
}

std::string describe(const LineOptions& line)
{
    return fmt::format("{} baud, {}{}{}{}", line.baud.rate, 5 + static_cast<unsigned>(line.bits),
                       "NOE"[static_cast<unsigned>(line.parity)], line.stop == UartStopBit::ONE ? 1 : 2,
                       line.handshake == UartHwHandshake::ENABLED ? ", RTS/CTS" : "");
}

void setUpLine(Context& context, const LineOptions& options)
{
    context.setUp("UART", describe(options), [&](TarvixSDK& sdk) {
        return sdk.uartInit(options.baud.number, options.handshake, options.parity, options.bits, options.stop);
    });
}

std::size_t largestPiece(const LineOptions& line)
{
    return std::min<std::size_t>(line.baud.rate / 20, 1024);
}

void send(Context& context, const LineOptions& line, std::span<const std::uint8_t> bytes)
{
    Progress progress("sending", bytes.size());
    for (std::size_t done = 0; done < bytes.size();) {
        const auto piece = bytes.subspan(done, std::min(largestPiece(line), bytes.size() - done));
        context.check(context.sdk().uartSendMessage(std::vector<std::uint8_t>(piece.begin(), piece.end())),
                      fmt::format("sending from byte {}", done));
        done += piece.size();
        progress.update(done);
    }
}

bool isReceived(const Event& event)
{
    return event.kind == NotificationKind::UART_RX && event.complete;
}

} // namespace tool
