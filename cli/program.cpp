#include "program.hpp"

#include <algorithm>
#include <csignal>
#include <exception>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/report.hpp"

namespace tool {

namespace {

// Ends as any other program does that this signal ended, so that a shell sees the same.
int endBySignal(int number)
{
    std::signal(number, SIG_DFL);
    std::raise(number);
    return 128 + number;
}

int reported(Output& output, const Failure& failure)
{
    report(output, failure);
    return static_cast<int>(failure.exitStatus());
}

// Of a command that did not begin.
int reported(const GlobalOptions& options, const std::string& command, const Failure& failure)
{
    Output output(options.json);
    output.beginCommand(command);
    return reported(output, failure);
}

int run(const CommandSet& commands, const std::vector<std::string>& arguments)
{
    // What --json changes must hold for errors in the command line, too.
    GlobalOptions options;
    const auto end = std::find(arguments.begin(), arguments.end(), "--"); // what follows may be another program's
    options.json = std::find(arguments.begin(), end, "--json") != end;
    if (const SubProgram* const program = subProgramOf(commands.subPrograms, arguments)) {
        try {
            become(*program, arguments);
        } catch (const Failure& failure) {
            return reported(options, program->command, failure);
        }
    }
    CommandLine commandLine(commands, arguments);
    try {
        std::string text;
        if (!commandLine.parseProgram(options, text)) {
            Output(false).write(text);
            return 0;
        }
    } catch (const Failure& failure) {
        return reported(options, commandLine.chosenName(), failure);
    }
    // Never destroyed: closing the adapter would wait for its reader. The system closes it.
    Context& context = *new Context(options);
    try {
        commandLine.run(context);
    } catch (const Failure& failure) {
        return reported(context.output(), failure);
    }
    return 0;
}

int runOrReport(const CommandSet& commands, int argumentCount, char** arguments)
{
    try {
        terminal::secureStandardStreams();
        watchForInterrupts();
        return run(commands,
                   std::vector<std::string>(arguments + std::min(argumentCount, 1), arguments + argumentCount));
    } catch (const OutputClosed&) {
        return endBySignal(SIGPIPE);
    } catch (const AlreadyReported& end) {
        return static_cast<int>(end.exitStatus);
    } catch (const Interrupted& interrupted) {
        return 128 + interrupted.signal;
    } catch (const std::exception& error) {
        terminal::tell(fmt::format("tarvix: {}", error.what()));
        return static_cast<int>(ExitStatus::REFUSED);
    }
}

} // namespace

void runProgram(const CommandSet& commands, int argumentCount, char** arguments)
{
    _exit(runOrReport(commands, argumentCount, arguments));
}

} // namespace tool
