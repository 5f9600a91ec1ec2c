#include "command.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "arguments/options.hpp"
#include "commands/i2c/port.hpp"
#include "console/errors.hpp"
#include "cuse/cuse_device.hpp"
#include "i2c/i2c_file.hpp"
#include "i2c/session_i2c.hpp"
#include "session/bridge.hpp"
#include "session/child.hpp"
#include "spi/session_spi.hpp"
#include "spi/spi_file.hpp"
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

// The name given for this device, or its prefix and number.
std::string deviceName(const std::vector<std::string>& given, std::size_t index, std::string_view prefix,
                       unsigned number)
{
    if (index >= given.size()) {
        return fmt::format("{}{}", prefix, number);
    }
    const std::string& name = given[index];
    constexpr std::string_view ALLOWED = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
    if (name.empty() || name.size() > 64 || name.front() == '.' ||
        name.find_first_not_of(ALLOWED) != std::string::npos) {
        throw tool::UsageError(fmt::format("--device: '{}' is no name of a device", name),
                               fmt::format("use one such as {}{}: it will stand in /dev", prefix, number));
    }
    return name;
}

void requireNoMore(const std::vector<std::string>& names, std::size_t devices)
{
    if (names.size() > devices) {
        throw tool::UsageError(fmt::format("--device: {} names, but {} to be made", names.size(), devices),
                               "give as many");
    }
}

// ---- i2c ----------------------------------------------------------------------------------------------------------

constexpr unsigned FIRST_BUS = 90; // far above those of machines

struct I2cCommand {
    std::vector<unsigned> buses;
    std::vector<std::string> devices;
    tool::I2cPortOptions port;
    bool reconnects = false;
};

void planI2c(tool::Context&, const I2cCommand& options)
{
    plan().reconnects |= options.reconnects;
    const auto buses = options.buses.empty() ? std::vector<unsigned>{0} : options.buses;
    requireNoMore(options.devices, buses.size());
    for (std::size_t i = 0; i < buses.size(); ++i) {
        tool::I2cPortOptions port = options.port;
        port.bus = buses[i];
        const std::string name = deviceName(options.devices, i, "i2c-", FIRST_BUS + port.bus);
        plan().bridges.emplace_back([port, name](AdapterLink& link) {
            const auto bus = std::make_shared<SessionI2c>(link, port);
            return std::make_unique<CuseDevice>("i2c", name, [bus] { return std::make_unique<I2cFile>(*bus); });
        });
    }
}

void addI2c(tool::Commands& family)
{
    auto [app, options] = family.add<I2cCommand>(
        "i2c", "An I2C port as /dev/i2c-90, for i2c-tools, smbus2 and all that use i2c-dev", planI2c,
        {"tarvix bridge i2c -- i2cdetect -y 90", "tarvix bridge i2c --bus 0 1 -- i2cget -y 91 0x51",
         "tarvix bridge i2c uart --link tty0 -- i2cget -y 90 0x48 0 w"},
        "Needs root, and the kernel's module cuse. A message, or a write of 1 to 4 bytes joined\n"
        "with a read, goes out as it is; what the adapter cannot do is refused (EOPNOTSUPP).");
    tool::addNumbers(app, "-b,--bus", options.buses, {0, 1}, "I2C ports, each a device; 0 by default");
    tool::addTexts(app, "--device", options.devices, "Names of the devices; i2c-90 for port 0, i2c-91 for port 1")
        .valueName("NAME");
    tool::addPortSettings(app, options.port);
    addReconnect(app, options.reconnects);
}

// ---- spi ----------------------------------------------------------------------------------------------------------

struct SpiCommand {
    std::vector<unsigned> selects;
    std::vector<std::string> devices;
    std::uint32_t clock = SpiSettings{}.clock;
    bool reconnects = false;
};

// A chip select as programs see it; its settings stay when they close it.
struct SpiDevice {
    SpiDevice(std::shared_ptr<SpiController> controller, SpiChipSelect select, const SpiSettings& first)
        : bus(std::move(controller), select), settings(first)
    {
    }

    SessionSpi bus;
    SpiSettings settings;
};

void planSpi(tool::Context&, const SpiCommand& options)
{
    plan().reconnects |= options.reconnects;
    const auto selects = options.selects.empty() ? std::vector<unsigned>{0} : options.selects;
    requireNoMore(options.devices, selects.size());
    const auto controller = std::make_shared<std::shared_ptr<SpiController>>();
    for (std::size_t i = 0; i < selects.size(); ++i) {
        const std::string name = deviceName(options.devices, i, "spidev90.", selects[i]);
        const auto select = static_cast<SpiChipSelect>(selects[i]);
        const SpiSettings settings{.clock = options.clock};
        plan().bridges.emplace_back([controller, name, select, settings](AdapterLink& link) {
            if (*controller == nullptr) {
                *controller = std::make_shared<SpiController>(link);
                link.context().check((*controller)->use(select, settings), "setting up SPI");
            }
            const auto device = std::make_shared<SpiDevice>(*controller, select, settings);
            return std::make_unique<CuseDevice>(
                "spi", name, [device] { return std::make_unique<SpiFile>(device->bus, device->settings); });
        });
    }
}

void addSpi(tool::Commands& family)
{
    auto [app, options] = family.add<SpiCommand>(
        "spi", "A chip select as /dev/spidev90.0, for flashrom, py-spidev and all that use spidev", planSpi,
        {"tarvix bridge spi -- flashrom -p linux_spi:dev=/dev/spidev90.0 -r a.bin",
         "tarvix bridge spi --select 0 1 -- ls -l /dev/spidev90.0 /dev/spidev90.1"},
        "Needs root, and the kernel's module cuse. Transfers that keep the chip selected go out\n"
        "as one, up to 65,535 bytes; what the adapter cannot do is refused (EOPNOTSUPP).");
    tool::addNumbers(app, "-s,--select", options.selects, {0, 3}, "Chip-select lines, each a device; 0 by default");
    tool::addTexts(app, "--device", options.devices, "Names of the devices; spidev90.0 for line 0, and so on")
        .valueName("NAME");
    tool::addFrequency(app, "-c,--clock", options.clock, {1, SpiBus::FASTEST},
                       "Clock frequency until a program sets its own");
    addReconnect(app, options.reconnects);
}

// ---- uart ---------------------------------------------------------------------------------------------------------

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
        "Parity and data bits are those given here; leave programs at 8N1, which is all that a\n"
        "pseudo-terminal has.");
    tool::addText(app, "--link", options.uart.link, "Make a symbolic link to the terminal here").valueName("PATH");
    tool::addLineOptions(app, options.uart.line);
    addReconnect(app, options.reconnects);
}

// ---- All of them --------------------------------------------------------------------------------------------------

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
    std::optional<Child>
        child; // which outlasts the bridges: it may be waiting for them, and nobody serves them any more
    std::vector<std::unique_ptr<Bridge>> bridges;
    for (const Plan::Make& make : plan().bridges) {
        bridges.push_back(make(link));
        announce(context, *bridges.back());
    }
    if (context.options().command.empty()) {
        serve(bridges, link, plan().reconnects, -1);
        return;
    }
    child.emplace(context.options().command);
    serve(bridges, link, plan().reconnects, child->endDescriptor());
    const int status = child->wait();
    for (const auto& bridge : bridges) {
        bridge->finish();
    }
    throw tool::AlreadyReported{static_cast<tool::ExitStatus>(status)};
}

} // namespace

void addBridgeCommands(tool::Commands& commands)
{
    commands.together(
        "bridge", "Make the adapter a device that other tools know",
        [](tool::Commands& family) {
            addI2c(family);
            addSpi(family);
            addUart(family);
            family.addMissing("gpio", "no program can make GPIO lines: that takes a kernel module",
                              "use 'tarvix gpio', the library or Python");
        },
        run);
}

} // namespace bridge
