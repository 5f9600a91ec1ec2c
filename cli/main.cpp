#include <string>
#include <vector>

#include <fmt/format.h>

#include "command_line.hpp"
#include "console/errors.hpp"
#include "program.hpp"

namespace {

using namespace tool;

constexpr SubProgram SUB_PROGRAMS[] = {
    {"bridge", "Make the adapter a device that other tools know"},
    {"trace", "Record what programs and adapters say to each other"},
};

void addCommands(Commands& commands);

constexpr CommandSet COMMANDS{addCommands, SUB_PROGRAMS};

// A command of a batch.
void runLine(Context& context, const std::vector<std::string>& words)
{
    if (const SubProgram* const program = subProgramOf(SUB_PROGRAMS, words)) {
        throw UsageError(fmt::format("a batch cannot run '{}'", program->command));
    }
    CommandLine commandLine(COMMANDS, words);
    std::string text;
    bool runs = false;
    try {
        runs = commandLine.parseLine(text);
    } catch (const Failure&) {
        context.output().beginCommand(commandLine.chosenName());
        throw;
    }
    context.output().beginCommand(commandLine.chosenName());
    if (!runs) {
        context.output().write(text);
    } else if (commandLine.chosenName() == "batch") {
        throw UsageError("a batch cannot run a batch");
    } else {
        commandLine.run(context);
    }
}

void addCommands(Commands& commands)
{
    addListCommand(commands);
    addAdapterCommands(commands);
    addDoctorCommand(commands);
    addRailCommands(commands);
    addGpioCommands(commands);
    addI2cCommands(commands);
    addSpiCommands(commands);
    addUartCommands(commands);
    addI3cCommands(commands);
    addMonitorCommand(commands);
    addBatchCommand(commands, runLine);
}

} // namespace

int main(int argumentCount, char** arguments)
{
    runProgram(COMMANDS, argumentCount, arguments);
}
