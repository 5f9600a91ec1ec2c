// tarvix uart: what the port sends and receives.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/notifications.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "arguments/pattern.hpp"
#include "arguments/transfers.hpp"
#include "commands/command.hpp"
#include "commands/stream.hpp"
#include "commands/uart/line.hpp"
#include "commands/uart/terminal.hpp"
#include "console/errors.hpp"
#include "console/output.hpp"
#include "console/text.hpp"
#include "console/waiting.hpp"

namespace tool {

namespace {

// ---- send ---------------------------------------------------------------------------------------------------------

struct SendOptions {
    LineOptions line;
    std::vector<std::string> data;
    std::optional<std::chrono::milliseconds> listen;
    std::optional<std::uint64_t> reply;
    std::optional<std::string> expect;
    std::optional<std::chrono::milliseconds> within;
    bool raw = false;
};

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

// Prints what came until the pattern did, and that it did not.
void expect(Context& context, NotificationStream& stream, Search& search, const SendOptions& options, Json fields)
{
    const auto within = options.within.value_or(std::chrono::seconds(1));
    const Deadline deadline = std::chrono::steady_clock::now() + within;
    Bytes received;
    while (!search.match()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        const auto event = stream.next(std::max(left, std::chrono::milliseconds(0)));
        if (!event) {
            break;
        }
        if (isReceived(*event)) {
            received.insert(received.end(), event->data.begin(), event->data.end());
            search.add(event->data);
        }
    }
    if (search.match()) {
        fields["match"] = toHex(Bytes(search.match()->begin(), search.match()->end()));
    }
    context.output().printData(received, 0, fields, options.raw);
    if (!search.match()) {
        throw Failure(ExitStatus::NO_ANSWER,
                      fmt::format("{} bytes came within {} ms, and '{}' was not in them", received.size(),
                                  within.count(), *options.expect),
                      "check the wiring and --baud, or raise --within");
    }
}

// The pattern to look for, if there is one.
std::optional<Search> parseExpectation(const SendOptions& options)
{
    if (options.expect && (options.reply || options.listen)) {
        throw UsageError("--expect cannot be combined with --reply or --listen", "use --within");
    }
    if (options.within && !options.expect) {
        throw UsageError("--within says how long to wait for --expect", "add --expect TEXT, or use --listen");
    }
    return options.expect ? std::optional<Search>(std::in_place, "--expect", *options.expect) : std::nullopt;
}

void sendAndReceive(Context& context, const SendOptions& options)
{
    constexpr std::size_t LIMIT = 16 << 20;
    const Bytes bytes = readData("DATA", options.data, LIMIT);
    auto search = parseExpectation(options);
    NotificationStream stream(context);
    setUpLine(context, options.line);
    send(context, options.line, bytes);
    if (search) {
        expect(context, stream, *search, options, {{"sent", bytes.size()}});
        return;
    }
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
    auto [app, options] = uart.add<SendOptions>("send", "Send bytes and, on request, print the reply", sendAndReceive,
                                                {"tarvix uart send text:hello --reply 5",
                                                 R"(tarvix uart send 'text:AT\r' --expect '/[A-Z]+\r/' --within 500ms)",
                                                 "printf hello | tarvix uart send --listen 200ms --raw @-"});
    addData(app, options.data, "Bytes to send");
    addSize(app, "-n,--reply", options.reply, {1, 16 << 20},
            "Wait for this many bytes; exit with status 6 if fewer arrive");
    addPeriod(app, "--listen", options.listen, PERIOD,
              "Print the reply until the line is silent this long; 1s with --reply");
    addText(
        app, "--expect", options.expect,
        fmt::format("Print the reply until this is in it, {}; exit with status 6 if it does not come", PATTERN_HELP));
    addPeriod(app, "--within", options.within, {1, PERIOD.high}, "Wait this long for --expect; 1s by default");
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
        addUartTerminal(uart);
    });
}

} // namespace tool
