#include <algorithm>
#include <csignal>
#include <exception>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "command_line.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/report.hpp"

namespace {

using namespace tool;

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

int run(const std::vector<std::string>& arguments)
{
    // What --json changes must hold for errors in the command line, too.
    GlobalOptions options;
    options.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    CommandLine commandLine(arguments);
    try {
        std::string text;
        if (!commandLine.parseProgram(options, text)) {
            Output(false).write(text);
            return 0;
        }
    } catch (const Failure& failure) {
        Output output(options.json);
        output.beginCommand(commandLine.chosenName());
        return reported(output, failure);
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

int runOrReport(int argumentCount, char** arguments)
{
    try {
        terminal::secureStandardStreams();
        watchForInterrupts();
        return run(std::vector<std::string>(arguments + std::min(argumentCount, 1), arguments + argumentCount));
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

// Ends at once: all output is written by then, and a reader that still runs finds everything in place.
int main(int argumentCount, char** arguments)
{
    _exit(runOrReport(argumentCount, arguments));
}
