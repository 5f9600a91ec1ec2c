#include "command.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "arguments/options.hpp"
#include "console/errors.hpp"
#include "session/bridge.hpp"
#include "session/child.hpp"
#include "uart/uart_bridge.hpp"

namespace bridge {

namespace {

// What the command line asks for.
struct Plan {
    using Make = std::function<std::unique_ptr<Bridge>(AdapterLink&)>;

    std::vector<Make> bridges;
    bool reconnects = false;
};

Plan& plan()
{
    static Plan ofThisProgram;
    return ofThisProgram;
}

void addReconnect(CLI::App& app, bool& reconnects)
{
    tool::addFlag(app, "--reconnect", reconnects, "When the adapter goes, wait until it is back, and go on");
}

struct UartCommand {
    UartOptions uart;
    bool reconnects = false;
};

void planUart(tool::Context&, const UartCommand& options)
{
    plan().reconnects |= options.reconnects;
    plan().bridges.emplace_back(
        [uart = options.uart](AdapterLink& link) { return std::make_unique<UartBridge>(link, uart); });
}

void addUart(tool::Commands& family)
{
    auto [app, options] = family.add<UartCommand>(
        "uart", "The UART as a pseudo-terminal, for picocom, minicom and pyserial", planUart,
        {"tarvix bridge uart --link tty0 -- picocom -b 9600 -qrx 500 tty0"},
        "No root needed. Baud rate, stop bits and RTS/CTS follow the terminal's settings.\n"
        "Parity and data bits are those given here: the kernel has none for a pseudo-terminal.");
    tool::addText(app, "--link", options.uart.link, "Make a symbolic link to the terminal here").valueName("PATH");
    tool::addLineOptions(app, options.uart.line);
    addReconnect(app, options.reconnects);
}

void announce(tool::Context& context, const Bridge& bridge)
{
    const std::string text = fmt::format("{}: {}", bridge.kind(), bridge.device());
    if (context.options().command.empty()) {
        context.output().printEvent(text, {{"bridge", bridge.kind()}, {"device", bridge.device()}});
    } else { // whose output it is
        context.note(text);
    }
}

void run(tool::Context& context)
{
    AdapterLink link(context);
    std::vector<std::unique_ptr<Bridge>> bridges;
    for (const Plan::Make& make : plan().bridges) {
        bridges.push_back(make(link));
        announce(context, *bridges.back());
    }
    if (context.options().command.empty()) {
        serve(bridges, link, plan().reconnects, -1);
        return;
    }
    Child child(context.options().command);
    serve(bridges, link, plan().reconnects, child.endDescriptor());
    throw tool::AlreadyReported{static_cast<tool::ExitStatus>(child.wait())};
}

} // namespace

void addBridgeCommands(tool::Commands& commands)
{
    commands.together(
        "bridge", "Make the adapter a device that other tools know", [](tool::Commands& family) { addUart(family); },
        run);
}

} // namespace bridge
