#include "command_line.hpp"

#include <algorithm>
#include <utility>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <fmt/format.h>

#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

std::string nameOf(const CLI::App& app)
{
    const CLI::App* parent = app.get_parent();
    return parent == nullptr || parent->get_parent() == nullptr ? app.get_name()
                                                                : nameOf(*parent) + " " + app.get_name();
}

std::string names(const std::vector<const CLI::App*>& commands)
{
    std::string text;
    for (const CLI::App* command : commands) {
        text += (text.empty() ? "" : ", ") + command->get_name();
    }
    return text;
}

// The last command that the parser recognised.
const CLI::App& deepest(const CLI::App& app)
{
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : deepest(*parsed.front());
}

std::vector<std::string> withoutHelpWord(std::vector<std::string> words)
{
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

using Run = std::function<void(Context&)>;

Run inTurn(Run first, Run second)
{
    return [first = std::move(first), second = std::move(second)](Context& context) {
        if (first) {
            first(context);
        }
        second(context);
    };
}

} // namespace

void Commands::group(const std::string& name, const std::string& description, void (*fill)(Commands& family))
{
    CLI::App* family = app_.add_subcommand(name, description);
    family->require_subcommand(1)->fallthrough()->footer(""); // not the family's around it
    if (std::find(words_.begin(), words_.end(), name) != words_.end()) {
        Commands commands(*family, selected_, words_);
        fill(commands);
    }
}

void Commands::mention(const std::string& name, const std::string& description)
{
    app_.add_subcommand(name, description);
}

void Commands::together(const std::string& name, const std::string& description, void (*fill)(Commands& family),
                        void (*run)(Context&))
{
    CLI::App* family = app_.add_subcommand(name, description);
    family->require_subcommand(1, 0)->fallthrough()->footer("");
    Commands commands(*family, selected_, words_);
    commands.together_ = true;
    fill(commands);
    family->callback([&selected = selected_, name, run] { selected = {name, inTurn(std::move(selected.run), run)}; });
}

CLI::App& Commands::addCommand(const std::string& name, const std::string& description,
                               std::function<void(Context&)> run, const Examples& examples, const std::string& notes)
{
    CLI::App* command = app_.add_subcommand(name, description);
    command->fallthrough()->footer(fmt::format(
        "{}{}See 'tarvix --help' for the common options (-a, --json, --timeout, --wait, -v).{}{}", notes,
        notes.empty() ? "" : "\n\n", examples.empty() ? "" : "\n\nExamples:\n  ", fmt::join(examples, "\n  ")));
    if (app_.get_parent() != nullptr && !examples.empty()) {
        const std::string before = app_.get_footer().empty() ? "Examples:" : app_.get_footer();
        app_.footer(fmt::format("{}\n  {}", before, examples.front()));
    }
    command->callback([&selected = selected_, command, run = std::move(run), together = together_] {
        if (command->get_subcommands().empty()) {
            selected = {nameOf(*command), together ? inTurn(std::move(selected.run), run) : run};
        }
    });
    return *command;
}

void Commands::addMissing(const std::string& name, const std::string& reason, const std::string& advice)
{
    addCommand(name, fmt::format("Missing: {}; {}", reason, advice),
               [=](Context&) { throw Failure(ExitStatus::REFUSED, reason, advice); }, {}, {})
        .group("");
}

CommandLine::CommandLine(const CommandSet& commands, std::vector<std::string> words)
    : words_(withoutHelpWord(std::move(words))),
      app_(std::make_unique<CLI::App>("Drive I2C, SPI, UART, GPIO and I3C through a Tarvix USB adapter.", "tarvix"))
{
    if (const auto end = std::ranges::find(words_, "--"); commands.runsOthers && end != words_.end()) {
        othersWords_.assign(end + 1, words_.end());
        words_.erase(end, words_.end());
    }
    app_->require_subcommand(1);
    app_->formatter(helpFormatter());
    Commands all(*app_, selected_, words_);
    commands.add(all);
    for (const SubProgram& program : commands.subPrograms) {
        all.mention(program.command, program.description);
    }
}

CommandLine::~CommandLine() = default;

bool CommandLine::parseProgram(GlobalOptions& options, std::string& text)
{
    app_->set_version_flag("-V,--version", "tarvix " TARVIXSDK_VERSION);
    addText(*app_, "-a,--adapter", options.adapter, "Adapter to use: serial number, path:PATH or index:N")
        .valueName("SELECTOR")
        .orFromVariable("TARVIX_ADAPTER");
    addPeriod(*app_, "--timeout", options.timeout, {1, PERIOD.high}, "Wait this long for each answer: 500ms, 2s");
    addPeriod(*app_, "--wait", options.wait, PERIOD,
              "Wait this long for an adapter that another program is using: 500ms, 2s");
    addFlag(*app_, "--shared", options.shared,
            "Use the adapter beside other programs; safe only for one that just listens");
    addFlag(*app_, "--json", options.json, "Print JSON: one object per run, or per line of a stream; errors included");
    addFlag(*app_, "-v,--verbose", options.verbose, "Report setup steps on standard error");
    app_->footer(
        "'tarvix help COMMAND' explains a command and gives examples. The options above may also follow it.\n"
        "Exit status: 0 done, 1 refused by the adapter or the bus, 2 usage error, 3 no adapter, 4 several\n"
        "adapters and none chosen, 5 permission denied, 6 no answer in time, 7 adapter lost, 8 adapter in use,\n"
        "130 interrupted.");
    options.command = othersWords_;
    return parse(text);
}

bool CommandLine::parseLine(std::string& text)
{
    return parse(text);
}

void CommandLine::run(Context& context) const
{
    context.output().beginCommand(selected_.name);
    const CLI::Option* const raw = deepest(*app_).get_option_no_throw("--raw");
    if (context.output().json() && raw != nullptr && raw->count() > 0) {
        throw UsageError("--raw: cannot be combined with --json", "use one of them");
    }
    selected_.run(context);
    context.output().end();
}

std::string CommandLine::chosenName() const
{
    const CLI::App& command = deepest(*app_);
    return &command == app_.get() ? "" : nameOf(command);
}

bool CommandLine::parse(std::string& text)
{
    try {
        // CLI11 takes the words from the back.
        app_->parse(std::vector<std::string>(words_.rbegin(), words_.rend()));
        return true;
    } catch (const CLI::CallForHelp& help) {
        if (!app_->remaining(true).empty()) {
            throwUsageError(help);
        }
        text = app_->help();
    } catch (const CLI::CallForVersion& version) {
        text = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        throwUsageError(error);
    }
    return false;
}

void CommandLine::throwUsageError(const CLI::ParseError& error) const
{
    const CLI::App& command = deepest(*app_);
    const auto subcommands = command.get_subcommands([](const CLI::App*) { return true; });
    const auto extras = app_->remaining(true);
    const std::string advice = subcommands.empty() ? fmt::format("see 'tarvix {} --help'", nameOf(command))
                                                   : fmt::format("one of: {}", names(subcommands));
    if (!extras.empty()) {
        throw UsageError(fmt::format("{} '{}'",
                                     subcommands.empty() ? "unexpected argument" : "unknown command or option",
                                     extras.front()),
                         advice);
    }
    if (!subcommands.empty()) {
        throw UsageError("missing command", advice);
    }
    std::string message = error.what();
    if (const auto lineEnd = message.find('\n'); lineEnd != std::string::npos) {
        message.resize(lineEnd);
    }
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ArgumentMismatch)) {
        const bool several = message.find("At Most") != std::string::npos;
        message = message.substr(0, message.find(':')) + (several ? ": given more than once" : ": needs a value");
    }
    throw UsageError(message, advice);
}

} // namespace tool
