// tarvix-sim-replay: what `tarvix-sim replay` runs, a program of its own for the libraries that it needs.
#include <exception>
#include <fmt/format.h>

#include "common/terminal.hpp"
#include "program/arguments.hpp"
#include "replay/port.hpp"

int main(int count, char** words)
{
    terminal::secureStandardStreams();
    try {
        const sim::Arguments arguments = sim::parseArguments(count, words);
        return arguments.action == sim::Arguments::Action::REPLAY ? sim::replayPort(arguments.replay, arguments.command)
                                                                  : arguments.status;
    } catch (const std::exception& error) {
        terminal::tell(fmt::format("tarvix-sim: {}", error.what()));
        return 1;
    }
}
