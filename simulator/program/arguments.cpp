#include "program/arguments.hpp"

#include <algorithm>
#include <charconv>
#include <functional>
#include <limits>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/terminal.hpp"
#include "ports/shared/utf8.hpp"
#include "tarvixsdk/types.h"

namespace sim {

namespace {

using std::chrono::milliseconds;

constexpr int STATUS_USAGE = 2;
constexpr std::uint64_t LONGEST_TIME = 60'000;
constexpr std::size_t MOST_ADAPTERS = 128;
constexpr std::size_t LONGEST_SERIAL_NUMBER = 56; // bytes: with a counter appended it still fits the kernel's field

constexpr const char* EXAMPLES = R"(Examples:
  tarvix-sim run -- python3 my_test.py          a program that finds one adapter
  tarvix-sim run -- bash                        a shell with an adapter plugged in
  tarvix-sim run --adapters 3 -- ./my_test      TVX0000001, TVX0000002 and TVX0000003
  tarvix-sim run --latency 5 --fault drop:0.01 -- ./my_test
                                                a slow adapter that loses 1 % of its responses
  sudo tarvix-sim uhid --report-size 1024       a HID device that every program sees
  sudo tarvix-sim gadget /dev/hidg0             a USB device for the computer at the other end
  tarvix-sim trigger ibi --target 0 0x0a 0x0b   inside 'run': target 0 interrupts with two bytes)";

// Whole numbers, decimal or with 0x, from `low` to `high`.
std::uint64_t toNumber(const std::string& text, std::uint64_t low, std::uint64_t high)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto result = std::from_chars(text.data() + (hex ? 2 : 0), end, number, hex ? 16 : 10);
    if (result.ec != std::errc{} || result.ptr != end || number < low || number > high) {
        throw CLI::ValidationError(fmt::format("'{}' is not a number from {} to {}", text, low, high));
    }
    return number;
}

using Take = std::function<void(const std::string& text)>;

// Unlike CLI11, names the option when its callback throws. Not add_option_function, whose templates take seconds.
CLI::Option* addOption(CLI::App& app, const std::string& name, const Take& take, const std::string& description)
{
    const CLI::callback_t takeAll = [name, take](const CLI::results_t& texts) {
        try {
            std::ranges::for_each(texts, take);
        } catch (const CLI::ValidationError& error) {
            throw CLI::ValidationError(fmt::format("{}: {}", name, error.what()));
        }
        return true;
    };
    return app.add_option(name, takeAll, description)
        ->expected(1)
        ->allow_extra_args(false) // takes one value and leaves what follows
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
}

void takeSerialNumber(HostOptions& options, const std::string& text)
{
    const bool printable = std::ranges::none_of(text, [](unsigned char c) { return c < 0x20 || c == 0x7F; });
    if (text.empty() || text.size() > LONGEST_SERIAL_NUMBER || !printable || !fromUtf8(text)) {
        throw CLI::ValidationError(
            fmt::format("'{}' is not a printable UTF-8 text of 1 to {} bytes", text, LONGEST_SERIAL_NUMBER));
    }
    options.serialNumber = text;
}

void takeReportSize(HostOptions& options, const std::string& text)
{
    if (text != "64" && text != "1024") {
        throw CLI::ValidationError(fmt::format("'{}' is neither 64 nor 1024", text));
    }
    options.reportSize = text == "64" ? 64 : 1024;
}

void takeFault(HostOptions& options, const std::string& text)
{
    const auto colon = std::min(text.find(':'), text.size());
    const auto name = text.substr(0, colon);
    const auto fault = std::ranges::find(FAULT_NAMES, name);
    if (fault == FAULT_NAMES.end()) {
        throw CLI::ValidationError(
            fmt::format("'{}' is not a fault: choose from {}", name, fmt::join(FAULT_NAMES, ", ")));
    }
    double probability = 1;
    if (colon < text.size()) {
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data() + colon + 1, end, probability);
        if (result.ec != std::errc{} || result.ptr != end || !(probability >= 0 && probability <= 1)) {
            throw CLI::ValidationError(
                fmt::format("'{}' is not a probability from 0 to 1, as in {}:0.2", text.substr(colon + 1), name));
        }
    }
    options.faults.probability[static_cast<std::size_t>(fault - FAULT_NAMES.begin())] = probability;
}

auto takeTime(milliseconds& time)
{
    return [&time](const std::string& text) { time = milliseconds(toNumber(text, 0, LONGEST_TIME)); };
}

void addHostOptions(CLI::App& app, HostOptions& options)
{
    addOption(
        app, "--report-size", [&](const auto& text) { takeReportSize(options, text); },
        "Bytes of one report: 64 (product 82fc) or 1024 (product 82fd) [64]")
        ->type_name("BYTES");
    addOption(
        app, "--serial", [&](const auto& text) { takeSerialNumber(options, text); },
        "Serial number; further adapters count up from it [TVX0000001]")
        ->type_name("TEXT");
    addOption(app, "--latency", takeTime(options.latency), "Delay of every response and notification [0]")
        ->type_name("MS");
    addOption(
        app, "--fault", [&](const auto& text) { takeFault(options, text); },
        fmt::format("Inject a fault with this probability, 0 to 1 [1]; repeatable; NAME is {}",
                    fmt::join(FAULT_NAMES, ", ")))
        ->type_name("NAME[:PROBABILITY]")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    addOption(app, "--fault-delay", takeTime(options.faults.delay),
              "How long the fault 'delay' holds a frame back [100]")
        ->type_name("MS");
    addOption(
        app, "--seed",
        [&](const auto& text) { options.faults.seed = toNumber(text, 0, std::numeric_limits<std::uint64_t>::max()); },
        "Seed of the faults: equal seeds and requests give equal faults [1]")
        ->type_name("NUMBER");
    addOption(
        app, "--away", [&](const auto& text) { options.away = milliseconds(toNumber(text, 0, LONGEST_TIME)); },
        "Time off the bus after a reset or an unplug fault [1000; 200 for a reset under run]")
        ->type_name("MS");
    app.add_flag("--verbose", options.verbose, "Print every frame on standard error");
}

void addAdapterCount(CLI::App& app, HostOptions& options)
{
    addOption(
        app, "--adapters", [&](const auto& text) { options.adapters = toNumber(text, 1, MOST_ADAPTERS); },
        "Number of adapters [1]")
        ->type_name("N");
}

void addRun(CLI::App& app, Arguments& arguments)
{
    auto& run =
        *app.add_subcommand("run", "Run a command with virtual adapters in place of this machine's HID devices");
    run.footer("The command follows '--': tarvix-sim run [OPTIONS] -- COMMAND [ARGUMENT...]\n"
               "The exit status is the command's; 128 plus the signal number if a signal ended it, 126 or 127 if it "
               "could not be run.");
    addHostOptions(run, arguments.host);
    addAdapterCount(run, arguments.host);
    run.callback([&] { arguments.action = Arguments::Action::RUN; });
}

void addUhid(CLI::App& app, Arguments& arguments)
{
    auto& uhid = *app.add_subcommand("uhid", "Create HID devices in this machine's kernel, until interrupted");
    addHostOptions(uhid, arguments.host);
    addAdapterCount(uhid, arguments.host);
    uhid.add_option("--device", arguments.uhidDevice, "Device node of the uhid driver [/dev/uhid]")->type_name("PATH");
    uhid.callback([&] { arguments.action = Arguments::Action::UHID; });
}

void addGadget(CLI::App& app, Arguments& arguments)
{
    auto& gadget = *app.add_subcommand("gadget", "Serve USB HID gadget nodes, one adapter each, until interrupted");
    addHostOptions(gadget, arguments.host);
    gadget.add_option("NODE", arguments.gadgetNodes, "Node of a configured HID gadget, such as /dev/hidg0")->required();
    gadget
        .add_option("--udc-file", arguments.udcFiles,
                    "UDC attribute of the gadget in configfs, so that a reset leaves the bus; one for each node")
        ->type_name("PATH")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    gadget.callback([&] {
        if (!arguments.udcFiles.empty() && arguments.udcFiles.size() != arguments.gadgetNodes.size()) {
            throw CLI::ValidationError(fmt::format("--udc-file: {} given for {} nodes; give one for each node",
                                                   arguments.udcFiles.size(), arguments.gadgetNodes.size()));
        }
        arguments.action = Arguments::Action::GADGET;
    });
}

void addTrigger(CLI::App& app, Arguments& arguments)
{
    auto& trigger = *app.add_subcommand("trigger", "Raise an event on an adapter; works inside 'tarvix-sim run'");
    trigger.callback([&] {
        if (trigger.get_subcommands().empty()) {
            throw CLI::RequiredError("trigger: one of ibi, hot-join, unplug, replug");
        }
    });
    const auto add = [&](const std::string& name, const std::string& description) -> CLI::App& {
        auto& event = *trigger.add_subcommand(name, description);
        event.add_option("--adapter", arguments.adapter, "Serial number, or index from 0 [0]")->type_name("ADAPTER");
        event.callback([&arguments, name] {
            arguments.action = Arguments::Action::TRIGGER;
            arguments.event = name;
        });
        return event;
    };
    const auto addTarget = [&](CLI::App& event) {
        arguments.eventFields = {"0"};
        addOption(
            event, "--target",
            [&](const auto& text) { arguments.eventFields[0] = std::to_string(toNumber(text, 0, 127)); },
            "Index of the I3C target, from 0 [0]")
            ->type_name("N");
    };
    auto& ibi = add("ibi", "Let an I3C target raise an in-band interrupt");
    addTarget(ibi);
    addOption(
        ibi, "BYTES",
        [&](const auto& text) { arguments.eventFields.push_back(std::to_string(toNumber(text, 0, 255))); },
        "Payload, decimal or with 0x")
        ->allow_extra_args()
        ->expected(-1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("");
    addTarget(add("hot-join", "Let an I3C target join the bus"));
    add("unplug", "Pull the adapter out");
    add("replug", "Plug the adapter back in, after an unplug or from boot mode");
}

int explain(const CLI::App& app, const CLI::ParseError& error)
{
    if (error.get_exit_code() == 0) {
        return app.exit(error); // help or version
    }
    std::string text = error.what();
    std::ranges::replace(text, '\n', ' ');
    const auto chosen = app.get_subcommands();
    terminal::tell(fmt::format("tarvix-sim: {} (see 'tarvix-sim{} --help')", text,
                               chosen.empty() ? "" : " " + chosen.front()->get_name()));
    return STATUS_USAGE;
}

} // namespace

Arguments parseArguments(int count, char** arguments)
{
    Arguments result;
    CLI::App app("The virtual Tarvix USB protocol adapter, without hardware.", "tarvix-sim");
    app.footer(EXAMPLES);
    app.set_version_flag("--version", "tarvix-sim " TARVIXSDK_VERSION);
    addRun(app, result);
    addUhid(app, result);
    addGadget(app, result);
    addTrigger(app, result);

    // Everything after "--" belongs to the command.
    char** const end = arguments + count;
    char** const separator =
        std::find_if(arguments, end, [](const char* text) { return std::string_view(text) == "--"; });
    try {
        app.parse(static_cast<int>(separator - arguments), arguments);
        if (separator != end) {
            result.command.assign(separator + 1, end);
        }
        if (result.action == Arguments::Action::NOTHING) {
            throw CLI::RequiredError("One of run, uhid, gadget, trigger");
        }
        if (result.action == Arguments::Action::RUN && result.command.empty()) {
            throw CLI::RequiredError("A command after '--' (as in 'tarvix-sim run -- bash')");
        }
        if (result.action != Arguments::Action::RUN && separator != end) {
            throw CLI::ExtrasError({"--"});
        }
    } catch (const CLI::ParseError& error) {
        result.action = Arguments::Action::NOTHING;
        result.status = explain(app, error);
    }
    return result;
}

} // namespace sim
