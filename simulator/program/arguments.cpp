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
#include <nlohmann/json.hpp>

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
  tarvix-sim replay run.pcap -- ./my_test       an adapter that answers as 'tarvix trace' has recorded
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
    if (arguments.action == Arguments::Action::TRIGGER || arguments.action == Arguments::Action::REPLAY ||
        arguments.printsBoard) {
        return; // needs none, and reading one takes time
    }
    try {
        arguments.host.adapters =
            equip(arguments.boardFile.empty() ? defaultBoard() : readBoard(arguments.boardFile), wishes);
    } catch (const BoardError& error) {
        throw CLI::ValidationError(error.what());
    }
}

double probabilityIn(const std::string& text, const std::string& fault)
{
    double probability = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, probability);
    if (result.ec != std::errc{} || result.ptr != end || !(probability >= 0 && probability <= 1)) {
        throw CLI::ValidationError(fmt::format("'{}' is not a probability from 0 to 1, as in {}:0.2", text, fault));
    }
    return probability;
}

// NAME[:PROBABILITY]
std::pair<std::size_t, double> faultIn(const std::string& text)
{
    const auto colon = std::min(text.find(':'), text.size());
    const auto name = text.substr(0, colon);
    const auto fault = std::ranges::find(FAULT_NAMES, name);
    if (fault == FAULT_NAMES.end()) {
        throw CLI::ValidationError(
            fmt::format("'{}' is not a fault: choose from {}", name, fmt::join(FAULT_NAMES, ", ")));
    }
    return {static_cast<std::size_t>(fault - FAULT_NAMES.begin()),
            colon < text.size() ? probabilityIn(text.substr(colon + 1), name) : 1};
}

void takeFault(HostOptions& options, const std::string& text)
{
    const auto [fault, probability] = faultIn(text);
    options.faults.probability[fault] = probability;
}

// "100" and "100ms" are the same.
std::string withoutUnit(const std::string& text)
{
    return text.ends_with("ms") ? text.substr(0, text.size() - 2) : text;
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
    const auto ofAdapters = run.get_options([&](const CLI::Option* option) { return option != run.get_help_ptr(); });
    run.add_option("--connect", arguments.connect,
                   "Use the adapters of the 'tarvix-sim serve' at this socket; no other options then")
        ->type_name("PATH")
        ->expected(1)
        ->allow_extra_args(false);
    run.callback([&arguments, ofAdapters] {
        const auto given =
            std::ranges::find_if(ofAdapters, [](const CLI::Option* option) { return option->count() > 0; });
        if (!arguments.connect.empty() && given != ofAdapters.end()) {
            throw CLI::ValidationError(
                fmt::format("{0}: the adapters of --connect are there already; give {0} to 'tarvix-sim serve'",
                            (*given)->get_name()));
        }
        arguments.action = Arguments::Action::RUN;
    });
}

void addServe(CLI::App& app, Arguments& arguments, Wishes& wishes)
{
    auto& serve = *app.add_subcommand("serve", "Serve virtual adapters to commands that connect, until interrupted");
    serve.footer("Prints one line when the adapters are there. Then, as often as you like:\n"
                 "  tarvix-sim run --connect PATH -- COMMAND [ARGUMENT...]\n"
                 "  tarvix-sim trigger unplug --connect PATH");
    addHostOptions(serve, arguments, wishes);
    addAdapterCount(serve, wishes);
    serve.add_option("--socket", arguments.socket, "Where to connect; a name that does not exist yet")
        ->type_name("PATH")
        ->required();
    serve.callback([&] { arguments.action = Arguments::Action::SERVE; });
}

void addReplay(CLI::App& app, Arguments& arguments)
{
    auto& replay = *app.add_subcommand("replay", "Run a command with adapters that answer as recorded");
    replay.footer(
        "Record a trace, and play it back. The command follows '--':\n"
        "  tarvix-sim run -- tarvix trace -o run.pcap -- tarvix i2c get 0x48 0 -n 2\n"
        "  tarvix-sim replay run.pcap -- tarvix i2c get 0x48 0 -n 2\n"
        "  tarvix-sim replay run.pcap --lenient -- tarvix i2c get 0x48 0 -n 2 --every 1ms --count 3\n"
        "The exit status is the command's, as under 'run'; 125 if its requests are not those of the recording.");
    replay.add_option("FILE", arguments.replay.capture, "Trace, or a capture of the kernel's usbmon")->required();
    replay.add_flag("--lenient", arguments.replay.lenient,
                    "Answer each request as it was answered in the recording, in any order and any number of times");
    replay.add_flag("--timing", arguments.replay.timing, "Answer after the recorded time, not at once");
    replay.add_flag("--verbose", arguments.replay.verbose, "Print every frame on standard error");
    replay.callback([&] {
        if (arguments.replay.capture == "-") {
            throw CLI::ValidationError("FILE: standard input is the command's; name a file");
        }
        arguments.action = Arguments::Action::REPLAY;
    });
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

// ---- The hand on the bench ------------------------------------------------------------------------------------------

constexpr std::size_t MOST_VALUES = 4096; // of one request

// TEXT with \r, \n, \t, \0, \\ and \x41, or hex:41 0a. TEXT may begin with text:, as it does for tarvix.
Json bytesIn(const std::string& given)
{
    constexpr std::string_view HEX = "hex:";
    constexpr std::string_view TEXT = "text:";
    const std::string text = given.substr(given.starts_with(TEXT) ? TEXT.size() : 0);
    static const std::filesystem::path NO_FILE;
    if (given.starts_with(HEX)) {
        try {
            return Node(NO_FILE, Json(given)).bytes(MOST_VALUES);
        } catch (const BoardError&) {
            throw CLI::ValidationError(fmt::format("'{}' has no pairs of hex digits, as in hex:4f4b0d0a", given));
        }
    }
    static const std::map<char, char> ESCAPES{{'r', '\r'}, {'n', '\n'}, {'t', '\t'}, {'0', '\0'}, {'\\', '\\'}};
    Json bytes = Json::array();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes.push_back(static_cast<std::uint8_t>(text[i]));
        } else if (++i; i < text.size() && ESCAPES.contains(text[i])) {
            bytes.push_back(ESCAPES.at(text[i]));
        } else if (i + 2 < text.size() && text[i] == 'x') {
            bytes.push_back(toNumber("0x" + text.substr(i + 1, 2), 0, 0xFF));
            i += 2;
        } else {
            throw CLI::ValidationError(fmt::format(R"('{}': after a backslash comes r, n, t, 0, \ or x41)", text));
        }
    }
    return bytes;
}

void addHandOptions(CLI::App& app, Arguments& arguments)
{
    app.add_option("--adapter", arguments.adapter, "Serial number, or index from 0 [0]")->type_name("ADAPTER");
    app.add_option("--connect", arguments.connect, "Socket of a 'tarvix-sim serve' [that of the run around]")
        ->type_name("PATH");
}

// Words of the command line that go into a request as they are, as whole numbers, and as an array of these.
CLI::Option* addWord(CLI::App& app, Json& request, const std::string& name, const std::string& key,
                     const std::string& description)
{
    return addOption(
               app, name, [&request, key](const auto& text) { request[key] = text; }, description)
        ->type_name("");
}

CLI::Option* addNumber(CLI::App& app, Json& request, const std::string& name, const std::string& key,
                       const std::string& description)
{
    return addOption(
               app, name, [&request, key](const auto& text) { request[key] = toNumber(text, 0, UINT32_MAX); },
               description)
        ->type_name("");
}

CLI::Option* addNumbers(CLI::App& app, Json& request, const std::string& name, const std::string& key,
                        std::uint64_t highest, const std::string& description)
{
    return addOption(
               app, name,
               [&request, key, highest](const auto& text) { request[key].push_back(toNumber(text, 0, highest)); },
               description)
        ->allow_extra_args()
        ->expected(-1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("");
}

void addTarget(CLI::App& app, Json& request)
{
    auto* const target =
        addNumber(app, request, "--target", "target", "Index of the I3C target, from 0 [0]")->type_name("N");
    addWord(app, request, "--device", "device", "Name of the I3C target, in place of its index")
        ->type_name("NAME")
        ->excludes(target);
}

// From NAME[:NUMBER], or "off".
void readFault(Json& request)
{
    const auto text = request["fault"].get<std::string>();
    const auto colon = std::min(text.find(':'), text.size());
    if (text == "off") {
        request["do"] = "faults_off";
        request.erase("fault");
        request.erase("device");
    } else if (text == "on" && request.contains("device")) {
        request.erase("fault");
    } else if (!request.contains("device")) {
        const auto [fault, probability] = faultIn(text);
        request["fault"] = FAULT_NAMES[fault];
        request["probability"] = probability;
    } else if (request["fault"] = text.substr(0, colon); colon < text.size()) {
        const bool isTime = request["fault"] == "stretch";
        const auto number = text.substr(colon + 1);
        request[isTime ? "milliseconds" : "probability"] =
            isTime ? static_cast<double>(toNumber(withoutUnit(number), 0, LONGEST_TIME))
                   : probabilityIn(number, text.substr(0, colon));
    }
}

// What a command asks of the bench: one request, or several where a message has no room for all.
void addRequests(Arguments& arguments, Json request)
{
    const auto add = [&](const Json& one) { arguments.requests.push_back(one.dump()); };
    if (!arguments.adapter.empty()) {
        request["adapter"] = arguments.adapter;
    }
    if (request["do"] == "fault") {
        readFault(request);
    }
    if (request.contains("for")) {
        arguments.pause = milliseconds(request["for"].get<std::uint64_t>());
        request.erase("for");
        add(request);
        request["do"] = "release";
    }
    const std::size_t count = request["do"] == "get"   ? request.value("count", std::size_t{1})
                              : request["do"] == "put" ? request["values"].size()
                                                       : 0;
    if (count <= MOST_VALUES) {
        add(request);
        return;
    }
    const Json all = request;
    for (std::size_t done = 0; done < count; done += MOST_VALUES) {
        const std::size_t part = std::min(MOST_VALUES, count - done);
        request["address"] = all["address"].get<std::size_t>() + done;
        if (all.contains("values")) {
            const auto begin = all["values"].begin() + static_cast<std::ptrdiff_t>(done);
            request["values"] = Json(Json::array_t(begin, begin + static_cast<std::ptrdiff_t>(part)));
        } else {
            request["count"] = part;
        }
        add(request);
    }
}

struct TriggerAdder {
    CLI::App& trigger;
    Arguments& arguments;
    Json& request;

    // The name of the operation is that of the command, with underscores.
    CLI::App& operator()(const std::string& name, const std::string& description) const
    {
        auto& app = *trigger.add_subcommand(name, description);
        addHandOptions(app, arguments);
        app.callback([this_ = *this, name] {
            std::string operation = name;
            std::ranges::replace(operation, '-', '_');
            this_.request["do"] = operation;
            this_.arguments.action = Arguments::Action::TRIGGER;
        });
        return app;
    }
};

// Wires, their buttons, and what a device holds.
void addBenchTriggers(const TriggerAdder& add)
{
    Json& request = add.request;
    auto& press = add("press", "Press a button");
    addWord(press, request, "NAME", "wire", "Wire that has the button")->required();
    addOption(
        press, "--for", [&request](const auto& text) { request["for"] = toNumber(withoutUnit(text), 0, LONGEST_TIME); },
        "Let it go after this many milliseconds, and only then end")
        ->type_name("MS");
    addWord(add("release", "Let a button go"), request, "NAME", "wire", "Wire that has the button")->required();
    auto& set = add("set", "Hold a wire at a level, or let it go");
    addWord(set, request, "WIRE", "wire", "Name of a wire, or pin0 to pin7")->required();
    addWord(set, request, "LEVEL", "level", "high, low or released")->required();
    auto& get = add("get", "Print registers or memory of a device");
    addWord(get, request, "DEVICE", "device", "Name of a device")->required();
    addNumber(get, request, "ADDRESS", "address", "The first register or byte")->required();
    addNumber(get, request, "COUNT", "count", "How many [1]");
    auto& put = add("put", "Change registers or memory of a device");
    addWord(put, request, "DEVICE", "device", "Name of a device")->required();
    addNumber(put, request, "ADDRESS", "address", "The first register or byte")->required();
    addNumbers(put, request, "VALUES", "values", UINT32_MAX, "One for each register or byte")->required();
    addWord(add("power-cycle", "Take a device's supply away for a moment"), request, "DEVICE", "device",
            "Name of a device")
        ->required();
    auto& reset = add("reset", "Reset a device");
    addWord(reset, request, "DEVICE", "device", "Name of a device")->required();
    auto* const hold = reset.add_flag_callback(
        "--hold", [&request] { request["held"] = true; }, "Hold it in reset, until");
    reset
        .add_flag_callback(
            "--release", [&request] { request["held"] = false; }, "it is let go")
        ->excludes(hold);
}

// What comes in at the adapter, and the adapter itself.
void addAdapterTriggers(const TriggerAdder& add)
{
    Json& request = add.request;
    auto& uart = add("uart", "Let the adapter receive bytes on its UART");
    addOption(
        uart, "BYTES", [&request](const auto& text) { request["bytes"] = bytesIn(text); },
        R"(Text, with escapes such as \r\n, or hex:4f4b)")
        ->required()
        ->type_name("");
    add("uart-sent", "Print what the adapter has sent on its UART since this was last asked");
    auto& ibi = add("ibi", "Let an I3C target raise an in-band interrupt");
    addTarget(ibi, request);
    addNumbers(ibi, request, "BYTES", "bytes", 0xFF, "Payload, decimal or with 0x");
    addTarget(add("hot-join", "Let an I3C target join the bus"), request);
    auto& fault = add("fault", "Switch a fault of the adapter or of a device on, or all off");
    addWord(
        fault, request, "FAULT", "fault",
        fmt::format("NAME[:PROBABILITY] with NAME one of {}; with --device nack[:PROBABILITY], flip[:PROBABILITY] or "
                    "stretch:MS, or on for what the board file says; or off for all",
                    fmt::join(FAULT_NAMES, ", ")))
        ->required();
    addWord(fault, request, "--device", "device", "Name of the device [the adapter itself]")->type_name("NAME");
    auto& stuck = add("stuck", "Hold an I2C bus low");
    addNumber(stuck, request, "PORT", "port", "Its number")->required();
    stuck.add_flag_callback(
        "--release", [&request] { request["held"] = false; }, "Let it go");
    add("unplug", "Pull the adapter out");
    add("replug", "Plug the adapter back in, after an unplug or from boot mode");
}

void addTrigger(CLI::App& app, Arguments& arguments, Json& request)
{
    auto& trigger = *app.add_subcommand(
        "trigger", "Act on an adapter and its bench: buttons, wires, devices, events, faults; inside 'tarvix-sim run'");
    trigger.require_subcommand(0, 1);
    trigger.footer("Examples, inside 'tarvix-sim run -- bash', or with --connect:\n"
                   "  tarvix-sim trigger press power --for 100ms    a button of the board file\n"
                   "  tarvix-sim trigger set pin5 high              until 'set pin5 released'\n"
                   "  tarvix-sim trigger put temperature 0 0x1900   what the sensor measures\n"
                   "  tarvix-sim trigger uart 'OK\\r\\n'              what the adapter receives\n"
                   "  tarvix-sim trigger fault drop:0.1             until 'fault off'\n"
                   "  tarvix-sim trigger unplug                     until 'replug'");
    const TriggerAdder add{trigger, arguments, request};
    addBenchTriggers(add);
    addAdapterTriggers(add);
    trigger.callback([&trigger] {
        if (trigger.get_subcommands().empty()) {
            std::vector<std::string> names;
            for (const CLI::App* command : trigger.get_subcommands({})) {
                names.push_back(command->get_name());
            }
            throw CLI::RequiredError(fmt::format("trigger: one of {}", fmt::join(names, ", ")));
        }
    });
}

void addState(CLI::App& app, Arguments& arguments)
{
    auto& state = *app.add_subcommand("state", "Print pins, wires, rails, buses and devices; inside 'tarvix-sim run'");
    addHandOptions(state, arguments);
    state.get_option("--adapter")->description("Serial number, or index from 0 [all adapters]");
    state.add_flag("--json", arguments.json, "Print JSON, as docs/bench-control.md describes");
    state.callback([&] { arguments.action = Arguments::Action::STATE; });
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
    addServe(app, result, wishes);
    addReplay(app, result);
    addUhid(app, result, wishes);
    addGadget(app, result, wishes);
    Json request;
    addTrigger(app, result, request);
    addState(app, result);
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
            throw CLI::RequiredError("One of run, serve, replay, uhid, gadget, trigger, state, board");
        }
        const bool isReplay = result.action == Arguments::Action::REPLAY;
        const bool takesCommand = isReplay || result.action == Arguments::Action::RUN;
        if (takesCommand && result.command.empty()) {
            throw CLI::RequiredError(fmt::format("A command after '--' (as in 'tarvix-sim {} -- bash')",
                                                 isReplay ? "replay run.pcap" : "run"));
        }
        if (!takesCommand && separator != end) {
            throw CLI::ExtrasError({"--"});
        }
        if (result.action == Arguments::Action::TRIGGER) {
            addRequests(result, request);
        }
        readBoardOf(result, wishes);
    } catch (const CLI::ParseError& error) {
        result.action = Arguments::Action::NOTHING;
        result.status = explain(app, error);
    }
    return result;
}

} // namespace sim
