// One command line, and of the tree of commands what it names.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "adapter/context.hpp"
#include "commands/command.hpp"

namespace CLI {
class ParseError;
}

namespace tool {

class CommandLine {
public:
    explicit CommandLine(std::vector<std::string> words); // without "tarvix"
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

    const std::vector<std::string> words_;
    std::unique_ptr<CLI::App> app_;
    Selected selected_;
};

} // namespace tool
