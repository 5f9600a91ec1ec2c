// tarvix uart: what the port sends and receives.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/notifications.hpp"
#include "arguments/choices.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/command.hpp"
#include "commands/stream.hpp"
#include "console/errors.hpp"
#include "console/output.hpp"
#include "console/progress.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

struct Baud {
    UartBaudRate number;
    unsigned rate; // bits per second
};

bool operator==(const Baud& left, const Baud& right)
{
    return left.number == right.number;
}

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

struct LineOptions {
    Baud baud{UartBaudRate::BAUD_115200, 115200};
    UartParity parity = UartParity::NONE;
    UartDataSize bits = UartDataSize::BITS_8;
    UartStopBit stop = UartStopBit::ONE;
    UartHwHandshake handshake = UartHwHandshake::DISABLED;
};

void addLineOptions(CLI::App& app, LineOptions& options)
{
    addChoice(app, "-b,--baud", options.baud, BAUDS, "Bits per second");
    addChoice(app, "-p,--parity", options.parity, PARITIES, "Parity bit");
    addChoice(app, "--bits", options.bits, DATA_SIZES, "Data bits per character");
    addChoice(app, "--stop", options.stop, STOPS, "Stop bits");
    addChoice(app, "--handshake", options.handshake, HANDSHAKES, "Hardware flow control");
}

void setUpLine(Context& context, const LineOptions& options)
{
    const std::string settings =
        fmt::format("{} baud, {}{}{}{}", options.baud.rate, 5 + static_cast<unsigned>(options.bits),
                    "NOE"[static_cast<unsigned>(options.parity)], options.stop == UartStopBit::ONE ? 1 : 2,
                    options.handshake == UartHwHandshake::ENABLED ? ", RTS/CTS" : "");
    context.setUp("UART", settings, [&](TarvixSDK& sdk) {
        return sdk.uartInit(options.baud.number, options.handshake, options.parity, options.bits, options.stop);
    });
}

bool isReceived(const Event& event)
{
    return event.kind == NotificationKind::UART_RX && event.complete;
}

// ---- send ---------------------------------------------------------------------------------------------------------

struct SendOptions {
    LineOptions line;
    std::vector<std::string> data;
    std::optional<std::chrono::milliseconds> listen;
    std::optional<std::uint64_t> reply;
    bool raw = false;
};

// Pieces of at most about half a second on the line, so that the adapter answers in time.
void send(Context& context, const LineOptions& line, const Bytes& bytes)
{
    const std::size_t piece = std::min<std::size_t>(line.baud.rate / 20, 1024);
    Progress progress("sending", bytes.size());
    for (std::size_t done = 0; done < bytes.size();) {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(done);
        const std::size_t count = std::min(piece, bytes.size() - done);
        context.check(context.sdk().uartSendMessage(Bytes(begin, begin + static_cast<std::ptrdiff_t>(count))),
                      fmt::format("sending from byte {}", done));
        done += count;
        progress.update(done);
    }
}

Bytes receive(NotificationStream& stream, const SendOptions& options)
{
    constexpr std::chrono::milliseconds PATIENCE{1000};
    Bytes received;
    while (!options.reply || received.size() < *options.reply) {
        const auto event = stream.next(options.listen.value_or(PATIENCE));
        if (!event) {
            break;
        }
        if (isReceived(*event)) {
            received.insert(received.end(), event->data.begin(), event->data.end());
        }
    }
    return received;
}

void sendAndReceive(Context& context, const SendOptions& options)
{
    constexpr std::size_t LIMIT = 16 << 20;
    const Bytes bytes = readData("DATA", options.data, LIMIT);
    NotificationStream stream(context);
    setUpLine(context, options.line);
    send(context, options.line, bytes);
    if (!options.listen && !options.reply) {
        context.output().print({}, {{"sent", bytes.size()}});
        return;
    }
    const Bytes received = receive(stream, options);
    context.output().printData(received, 0, {{"sent", bytes.size()}}, options.raw);
    if (options.reply && received.size() < *options.reply) {
        throw Failure(ExitStatus::NO_ANSWER, fmt::format("received {} of {} bytes", received.size(), *options.reply),
                      "check the wiring and --baud, or raise --listen");
    }
}

// ---- monitor ------------------------------------------------------------------------------------------------------

struct MonitorOptions {
    LineOptions line;
    StreamOptions stream;
    bool raw = false;
};

void monitor(Context& context, const MonitorOptions& options)
{
    NotificationStream stream(context);
    setUpLine(context, options.line);
    follow(stream, options.stream, fmt::format("receiving at {} baud", options.line.baud.rate),
           [&](const Event& event) {
               if (!isReceived(event)) {
                   return false;
               }
               if (options.raw) {
                   context.output().write(event.data);
               } else {
                   context.output().printEvent(fmt::format("{} {}  |{}|", timeText(event.time), toHexWords(event.data),
                                                           toPrintable(event.data)),
                                               {{"time", timeText(event.time)}, {"data", toHex(event.data)}});
               }
               return true;
           });
}

// ---- Commands -----------------------------------------------------------------------------------------------------

void addSend(Commands& uart)
{
    auto [app, options] =
        uart.add<SendOptions>("send", "Send bytes and, on request, print the reply", sendAndReceive,
                              {"tarvix uart send text:hello --reply 5", R"(tarvix uart send 'text:AT\r')",
                               "printf hello | tarvix uart send --listen 200ms --raw @-"});
    addData(app, options.data, "Bytes to send");
    addSize(app, "-n,--reply", options.reply, {1, 16 << 20},
            "Wait for this many bytes; exit with status 6 if fewer arrive");
    addPeriod(app, "--listen", options.listen, PERIOD,
              "Print the reply until the line is silent this long; 1s with --reply");
    addRaw(app, options.raw);
    addLineOptions(app, options.line);
}

void addMonitor(Commands& uart)
{
    auto [app, options] =
        uart.add<MonitorOptions>("monitor", "Print what the port receives, until Ctrl-C", monitor,
                                 {"tarvix uart monitor --idle-timeout 200ms",
                                  "tarvix uart monitor --baud 9600 --parity even --raw --idle-timeout 200ms"});
    addRaw(app, options.raw);
    addLineOptions(app, options.line);
    addStreamOptions(app, options.stream);
}

} // namespace

void addUartCommands(Commands& commands)
{
    commands.group("uart", "UART: send and receive", [](Commands& uart) {
        addSend(uart);
        addMonitor(uart);
    });
}

} // namespace tool
