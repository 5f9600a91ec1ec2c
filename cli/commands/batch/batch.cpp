// tarvix batch: many commands over one open adapter.
#include <array>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "arguments/pattern.hpp"
#include "arguments/words.hpp"
#include "commands/batch/dry_run.hpp"
#include "commands/batch/lines.hpp"
#include "commands/batch/variables.hpp"
#include "commands/command.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/report.hpp"
#include "console/waiting.hpp"

namespace tool {

namespace {

namespace fs = std::filesystem;

struct BatchOptions {
    RunLine runLine = nullptr;
    std::string file;
    bool keepGoing = false;
    bool dryRun = false;
    bool noFiles = false;
};

class Batch {
public:
    Batch(Context& context, const BatchOptions& options) : context_(context), options_(options)
    {
        context.output().recordInto(&printed_);
        if (options.dryRun) {
            dryRun_.emplace(context);
        }
    }
    ~Batch() { context_.output().recordInto(nullptr); }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    // `directory` is where its includes are; `includedAt` the place that names it, empty for the first.
    void run(Lines& lines, const fs::path& directory, const std::string& includedAt)
    {
        const auto placed = [&] {
            return includedAt.empty() ? lines.place() : fmt::format("{}, included at {}", lines.place(), includedAt);
        };
        while (!stopped_) {
            context_.output().beginCommand("batch");
            const auto line = lines.next();
            if (!line) {
                return;
            }
            throwIfInterrupted();
            try {
                runLine(*line, directory, placed);
            } catch (const Failure& failure) {
                report(context_.output(), failure, placed());
                firstFailure_ = firstFailure_.value_or(failure.exitStatus());
                stopped_ = !options_.keepGoing && !(dryRun_ && failure.exitStatus() == ExitStatus::USAGE);
            }
        }
    }

    std::optional<ExitStatus> firstFailure() const { return firstFailure_; }

private:
    // What only a batch has: a name, what help calls its one word, and what runs it.
    struct Step {
        std::string_view name;
        std::string_view value;
        void (Batch::*run)(const std::string& word);
    };

    template <class Placed>
    void runLine(const std::string& line, const fs::path& directory, const Placed& placed)
    {
        const std::vector<std::string> words = splitWords(line);
        if (words.empty()) {
            return;
        }
        context_.note(line);
        std::optional<std::string> included;
        const auto command = [&] {
            if (words.front() == "include") {
                included = onlyWord(expanded(words), "FILE");
            } else {
                runWords(expanded(words));
            }
        };
        if (dryRun_) {
            dryRun_->run(placed(), line, command);
        } else {
            command();
        }
        if (included) {
            include(*included, directory, placed());
        }
    }

    std::vector<std::string> expanded(std::vector<std::string> words) const
    {
        const bool sets = words.front() == "set"; // which takes what a variable has as text
        for (std::string& word : words) {
            word = sets ? word : variables_.expand(word);
        }
        return words;
    }

    void runWords(const std::vector<std::string>& words)
    {
        static constexpr std::array STEPS{Step{"sleep", "PERIOD", &Batch::sleep},
                                          Step{"expect", "REGEX", &Batch::expect},
                                          Step{"set", "NAME=VALUE", &Batch::set}};
        for (const Step& step : STEPS) {
            if (words.front() == step.name) {
                (this->*step.run)(onlyWord(words, step.value));
                context_.output().end();
                return;
            }
        }
        printed_ = {};
        options_.runLine(context_, words);
    }

    const std::string& onlyWord(const std::vector<std::string>& words, std::string_view value)
    {
        context_.output().beginCommand("batch " + words.front());
        if (words.size() != 2) {
            throw UsageError(fmt::format("{} words given, 1 expected", words.size() - 1),
                             fmt::format("write {} {}, in quotes if it has blanks", words.front(), value));
        }
        return words.back();
    }

    void sleep(const std::string& period)
    {
        const auto length = parsePeriod("PERIOD", period);
        if (!dryRun_) {
            sleepUntil(std::chrono::steady_clock::now() + length);
        }
        printStep(Json::object());
    }

    void expect(const std::string& pattern)
    {
        if (dryRun_) {
            compileRegex("REGEX", pattern, pattern);
            throw Failure(ExitStatus::NO_ANSWER, "there is no answer");
        }
        findInLines("REGEX", pattern, printed_.text);
        printStep(Json::object());
    }

    void set(const std::string& assignment)
    {
        const std::string name = variables_.set(assignment, dryRun_ ? nullptr : &printed_);
        printStep({{"name", name}, {"value", variables_[name]}});
    }

    // Its object, which is not what the command before printed.
    void printStep(const Json& fields)
    {
        context_.output().recordInto(nullptr);
        context_.output().print({}, fields);
        context_.output().recordInto(&printed_);
    }

    void include(const std::string& file, const fs::path& directory, const std::string& place)
    {
        constexpr unsigned DEEPEST = 16;
        if (options_.noFiles) {
            throw UsageError(fmt::format("FILE: '{}' is a file, and --no-files refuses those", file));
        }
        if (depth_ == DEEPEST) {
            throw UsageError(fmt::format("FILE: {}: more than {} includes within each other", file, DEEPEST),
                             "does a file include itself?");
        }
        const fs::path path = directory / file;
        Lines lines = Lines::ofFile(path);
        ++depth_;
        run(lines, path.parent_path(), place);
        --depth_;
    }

    Context& context_;
    const BatchOptions& options_;
    Printed printed_; // by the command before
    Variables variables_;
    std::optional<DryRun> dryRun_;
    std::optional<ExitStatus> firstFailure_;
    bool stopped_ = false;
    unsigned depth_ = 0;
};

void batch(Context& context, const BatchOptions& options)
{
    if (options.noFiles) {
        refuseFiles();
    }
    Lines lines = options.file == "-" ? Lines::ofStandardInput() : Lines::ofFile(options.file);
    Batch batch(context, options);
    batch.run(lines, options.file == "-" ? fs::path() : fs::path(options.file).parent_path(), {});
    if (batch.firstFailure()) {
        throw AlreadyReported{*batch.firstFailure()};
    }
}

} // namespace

void addBatchCommand(Commands& commands, RunLine runLine)
{
    auto [app, options] = commands.add<BatchOptions>(
        "batch", "Run commands from a file on one open adapter: one per line, without 'tarvix' and common options",
        batch,
        {"tarvix batch - < /dev/null", "tarvix batch --no-files - < /dev/null",
         R"(printf '%s\n' 'gpio set 2=1' 'sleep 5ms' 'gpio get 3' 'expect =high' | tarvix batch -)",
         R"(printf '%s\n' 'i2c set 0x50 0 0x5a' 'gpio set 2=1' | tarvix batch --dry-run -)",
         R"(printf '%s\n' 'i2c get 0x48 3 -w 2' 'set T=match:0x..' 'i2c set 0x50 0 ${T}' | tarvix batch -)"},
        "Words are quoted as in a shell; a line has at most 1 MiB. A batch can send every file\n"
        "that you can read to the adapter (@FILE), and overwrite files: run one from elsewhere\n"
        "with --no-files.\n\n"
        "Besides commands, a line may be one of:\n"
        "  sleep PERIOD           wait: 50ms, 2s\n"
        "  expect REGEX           fail unless a line of what the command before printed matches\n"
        "  set NAME=TEXT          from now on ${NAME} stands for TEXT, in words after their quotes\n"
        "                         are gone ($${ is ${)\n"
        "  set NAME=match:REGEX   for what matches in the text the command before printed, or for\n"
        "                         the first group\n"
        "  set NAME=json:POINTER  for a value of its JSON object, such as json:/pins/0/level\n"
        "  include FILE           run its lines; a relative FILE is sought beside this one\n"
        "Expressions are ECMAScript's without back-references; a line of output is searched up\n"
        "to 8192 bytes.\n\n"
        "A dry run prints each line and under it, in hex, the frames that it would send. It has no\n"
        "answers: a command is followed up to the first that it reads or waits for. 'expect' is not\n"
        "evaluated, nor is what 'set' takes from output, nor any line that uses it. All lines are\n"
        "checked, nothing waits, and no file is written.");
    options.runLine = runLine;
    addText(app, "FILE", options.file, "Command file, or - for standard input; # starts a comment").required();
    addFlag(app, "-k,--keep-going", options.keepGoing, "Continue after a failed command");
    addFlag(app, "--dry-run", options.dryRun, "Print the frames that would be sent; needs no adapter");
    addFlag(app, "--no-files", options.noFiles,
            "Refuse @FILE, include and all other files, for a batch from elsewhere");
}

} // namespace tool
