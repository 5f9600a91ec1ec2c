#include "program/arguments.hpp"

#include <algorithm>
#include <charconv>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "board/read_board.hpp"
#include "board/serial_number.hpp"
#include "common/terminal.hpp"
#include "tarvixsdk/types.h"

namespace sim {

namespace {

using std::chrono::milliseconds;

constexpr int STATUS_USAGE = 2;
constexpr std::uint64_t LONGEST_TIME = 60'000;
constexpr std::size_t MOST_ADAPTERS = 128;

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

// What the command line says of the adapters, beside the board file.
struct Wishes {
    std::optional<std::string> serialNumber;
    std::optional<std::size_t> reportSize;
    std::optional<std::size_t> adapters;
};

void takeSerialNumber(Wishes& wishes, const std::string& text)
{
    if (const auto wrong = wrongSerialNumber(text)) {
        throw CLI::ValidationError(*wrong);
    }
    wishes.serialNumber = text;
}

void takeReportSize(Wishes& wishes, const std::string& text)
{
    if (text != "64" && text != "1024") {
        throw CLI::ValidationError(fmt::format("'{}' is neither 64 nor 1024", text));
    }
    wishes.reportSize = text == "64" ? 64 : 1024;
}

// The adapters of a board file; if it has one, as many of it as are wished for.
Board equip(Board board, const Wishes& wishes)
{
    if (board.size() == 1) {
        const AdapterBoard only = board.front();
        board.assign(wishes.adapters.value_or(1), only);
        const std::string first = wishes.serialNumber.value_or(only.serialNumber);
        for (std::size_t index = 0; index < board.size(); ++index) {
            board[index].serialNumber = serialNumberOf(first, index);
        }
    } else if (wishes.serialNumber) {
        throw CLI::ValidationError("--serial: the board file names several adapters; write their serial numbers there");
    } else if (wishes.adapters.value_or(board.size()) != board.size()) {
        throw CLI::ValidationError(
            fmt::format("--adapters: {} wanted, but the board file has {}", *wishes.adapters, board.size()));
    }
    for (AdapterBoard& adapter : board) {
        adapter.reportSize = wishes.reportSize.value_or(adapter.reportSize);
    }
    return board;
}

void readBoardOf(Arguments& arguments, const Wishes& wishes)
{
    if (arguments.action == Arguments::Action::TRIGGER || arguments.printsBoard) {
        return; // needs none, and reading one takes time
    }
    try {
        arguments.host.adapters =
            equip(arguments.boardFile.empty() ? defaultBoard() : readBoard(arguments.boardFile), wishes);
    } catch (const BoardError& error) {
        throw CLI::ValidationError(error.what());
    }
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

void addHostOptions(CLI::App& app, Arguments& arguments, Wishes& wishes)
{
    HostOptions& options = arguments.host;
    app.add_option("--board", arguments.boardFile,
                   "Board file: what is on the adapter's buses; see 'tarvix-sim board --help' [the default board]")
        ->type_name("FILE")
        ->expected(1)
        ->allow_extra_args(false);
    addOption(
        app, "--report-size", [&](const auto& text) { takeReportSize(wishes, text); },
        "Bytes of one report: 64 (product 82fc) or 1024 (product 82fd) [the board's: 64]")
        ->type_name("BYTES");
    addOption(
        app, "--serial", [&](const auto& text) { takeSerialNumber(wishes, text); },
        "Serial number; further adapters count up from it [the board's: TVX0000001]")
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
    app.add_option("--vcd", arguments.vcdFile, "Record what happens on the buses and pins, for GTKWave and sigrok")
        ->type_name("FILE")
        ->expected(1)
        ->allow_extra_args(false);
    addOption(
        app, "--vcd-pause",
        [&](const auto& text) { arguments.longestVcdPause = milliseconds(toNumber(text, 0, LONGEST_TIME)); },
        "Cut pauses in the recording that are longer [as long as they were]")
        ->type_name("MS");
    app.add_flag("--verbose", options.verbose, "Print every frame on standard error");
}

void addAdapterCount(CLI::App& app, Wishes& wishes)
{
    addOption(
        app, "--adapters", [&](const auto& text) { wishes.adapters = toNumber(text, 1, MOST_ADAPTERS); },
        "Number of adapters [1]")
        ->type_name("N");
}

void addRun(CLI::App& app, Arguments& arguments, Wishes& wishes)
{
    auto& run =
        *app.add_subcommand("run", "Run a command with virtual adapters in place of this machine's HID devices");
    run.footer("The command follows '--': tarvix-sim run [OPTIONS] -- COMMAND [ARGUMENT...]\n"
               "The exit status is the command's; 128 plus the signal number if a signal ended it, 126 or 127 if it "
               "could not be run.");
    addHostOptions(run, arguments, wishes);
    addAdapterCount(run, wishes);
    run.callback([&] { arguments.action = Arguments::Action::RUN; });
}

void addUhid(CLI::App& app, Arguments& arguments, Wishes& wishes)
{
    auto& uhid = *app.add_subcommand("uhid", "Create HID devices in this machine's kernel, until interrupted");
    addHostOptions(uhid, arguments, wishes);
    addAdapterCount(uhid, wishes);
    uhid.add_option("--device", arguments.uhidDevice, "Device node of the uhid driver [/dev/uhid]")->type_name("PATH");
    uhid.callback([&] { arguments.action = Arguments::Action::UHID; });
}

void addGadget(CLI::App& app, Arguments& arguments, Wishes& wishes)
{
    auto& gadget = *app.add_subcommand("gadget", "Serve USB HID gadget nodes, one adapter each, until interrupted");
    addHostOptions(gadget, arguments, wishes);
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
        if (wishes.adapters = arguments.gadgetNodes.size(); arguments.gadgetNodes.size() > MOST_ADAPTERS) {
            throw CLI::ValidationError(fmt::format("NODE: at most {} nodes", MOST_ADAPTERS));
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

void addBoard(CLI::App& app, Arguments& arguments)
{
    auto& board = *app.add_subcommand("board", "Print the default board file, or check one of your own");
    board.footer("A board file says in JSON what is on an adapter's buses. Begin with the default one:\n"
                 "  tarvix-sim board --print > board.json\n"
                 "  tarvix-sim board --check board.json\n"
                 "  tarvix-sim run --board board.json -- tarvix i2c scan");
    auto* const print = board.add_flag("--print", arguments.printsBoard, "Print the default board file");
    auto* const check =
        board.add_option("--check", arguments.boardFile, "Say what is wrong with a board file, if anything")
            ->type_name("FILE");
    print->excludes(check);
    board.callback([&arguments] {
        if (!arguments.printsBoard && arguments.boardFile.empty()) {
            throw CLI::RequiredError("board: --print or --check FILE");
        }
        arguments.action = Arguments::Action::BOARD;
    });
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
    Wishes wishes;
    addRun(app, result, wishes);
    addUhid(app, result, wishes);
    addGadget(app, result, wishes);
    addTrigger(app, result);
    addBoard(app, result);

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
            throw CLI::RequiredError("One of run, uhid, gadget, trigger, board");
        }
        if (result.action == Arguments::Action::RUN && result.command.empty()) {
            throw CLI::RequiredError("A command after '--' (as in 'tarvix-sim run -- bash')");
        }
        if (result.action != Arguments::Action::RUN && separator != end) {
            throw CLI::ExtrasError({"--"});
        }
        readBoardOf(result, wishes);
    } catch (const CLI::ParseError& error) {
        result.action = Arguments::Action::NOTHING;
        result.status = explain(app, error);
    }
    return result;
}

} // namespace sim
