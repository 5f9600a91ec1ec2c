// One command line, and of the tree of commands what it names.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "adapter/context.hpp"
#include "commands/command.hpp"
#include "sub_program.hpp"

namespace CLI {
class ParseError;
}

namespace tool {

// The commands of a program: its own, and those that are programs of their own.
struct CommandSet {
    void (*add)(Commands& commands);
    std::span<const SubProgram> subPrograms = {};
    bool runsOthers = false; // what follows "--" is another program's command line: GlobalOptions::command
};

class CommandLine {
public:
    CommandLine(const CommandSet& commands, std::vector<std::string> words); // without "tarvix"
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // For the program: with --adapter, --json and the like. Returns false when there is nothing to run because help
    // or the version was asked for; they are in `text`. Throws UsageError.
    bool parseProgram(GlobalOptions& options, std::string& text);

    // For one line of a batch, which has no global options.
    bool parseLine(std::string& text);

    // The command that was recognised so far, also of a line that could not be parsed; empty for none.
    std::string chosenName() const;

    // Runs the chosen command and ends its output. What it throws is for the caller to report.
    void run(Context& context) const;

private:
    bool parse(std::string& text);
    [[noreturn]] void throwUsageError(const CLI::ParseError& error) const;

    std::vector<std::string> words_;
    std::vector<std::string> othersWords_;
    std::unique_ptr<CLI::App> app_;
    Selected selected_;
};

} // namespace tool
