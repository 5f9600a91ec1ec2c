// How commands are added. A family is one function that takes Commands; a command is a record of its options, a
// function that runs it, and examples that work as printed.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "adapter/context.hpp"

namespace CLI {
class App;
}

namespace tool {

// The command that the command line chose.
struct Selected {
    std::string name; // "gpio get"
    std::function<void(Context&)> run;
};

using Examples = std::vector<std::string_view>; // each a whole shell command: "tarvix gpio get 3 4"

class Commands {
public:
    // `words` are the command line's.
    Commands(CLI::App& app, Selected& selected, std::span<const std::string> words)
        : app_(app), selected_(selected), words_(words)
    {
    }

    // A family: a command that has sub-commands. `fill` adds them, unless no word names the family: the line can then
    // reach none of them, and making all costs more than most commands do.
    void group(const std::string& name, const std::string& description, void (*fill)(Commands& family));

    // A family whose commands may stand together on one line, each with its options. They run in this order, and `run`
    // after them.
    void together(const std::string& name, const std::string& description, void (*fill)(Commands& family),
                  void (*run)(Context&));

    template <class Options>
    struct Added {
        CLI::App& app;    // add the command's options here ...
        Options& options; // ... bound to these; lives as long as the command
    };

    // The commands below a command.
    Commands below(CLI::App& command) { return Commands(command, selected_, words_); }

    // A command that is a program of its own: for help only, nothing runs it from here.
    void mention(const std::string& name, const std::string& description);

    // A command. `run` is called after the whole command line was parsed. `notes` stand above the examples in its help.
    template <class Options>
    Added<Options> add(const std::string& name, const std::string& description, void (*run)(Context&, const Options&),
                       const Examples& examples, const std::string& notes = {})
    {
        auto options = std::make_shared<Options>();
        CLI::App& command = addCommand(
            name, description, [run, options](Context& context) { run(context, *options); }, examples, notes);
        return {command, *options};
    }

    // What people will try and cannot be: help does not list it, and running it says why.
    void addMissing(const std::string& name, const std::string& reason, const std::string& advice);

private:
    CLI::App& addCommand(const std::string& name, const std::string& description, std::function<void(Context&)> run,
                         const Examples& examples, const std::string& notes);

    CLI::App& app_;
    Selected& selected_;
    std::span<const std::string> words_;
    bool together_ = false;
};

// For commands that have none.
struct NoOptions {};

// Runs one command line, given as words without "tarvix", in a context that is open already.
using RunLine = void (*)(Context& context, const std::vector<std::string>& words);

void addListCommand(Commands& commands);
void addAdapterCommands(Commands& commands); // info, reset, boot
void addDoctorCommand(Commands& commands);
void addRailCommands(Commands& commands);
void addGpioCommands(Commands& commands);
void addI2cCommands(Commands& commands);
void addSpiCommands(Commands& commands);
void addUartCommands(Commands& commands);
void addI3cCommands(Commands& commands); // with the CCCs
void addMonitorCommand(Commands& commands);
void addBatchCommand(Commands& commands, RunLine runLine);

} // namespace tool
