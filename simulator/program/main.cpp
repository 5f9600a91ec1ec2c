// tarvix-sim: the virtual adapter as a program.
#include <algorithm>
#include <cstring>
#include <exception>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "board/read_board.hpp"
#include "common/child_process.hpp"
#include "common/terminal.hpp"
#include "ports/port.hpp"
#include "program/arguments.hpp"

namespace {

// Serial numbers in the order of the adapters.
std::shared_ptr<sim::VcdRecorder> recorderOf(const sim::Arguments& arguments)
{
    std::vector<std::string> serialNumbers;
    std::ranges::transform(arguments.host.adapters, std::back_inserter(serialNumbers),
                           &sim::AdapterBoard::serialNumber);
    return std::make_shared<sim::VcdRecorder>(arguments.vcdFile, serialNumbers, arguments.longestVcdPause);
}

// Goes on as the program that plays recordings back, with the same command line.
[[noreturn]] void becomeReplay(int count, char** words)
{
    const std::string path = child_process::companion("tarvix-sim-replay", TARVIX_SIM_LIBRARY_DIRECTORY);
    const int error = child_process::become(path, {words + 1, words + count});
    throw std::runtime_error(fmt::format("cannot run {}: {}", path, std::strerror(error)));
}

int perform(sim::Arguments arguments)
{
    if (!arguments.vcdFile.empty()) {
        arguments.host.recorder = recorderOf(arguments);
    }
    switch (arguments.action) {
    case sim::Arguments::Action::RUN:
        return arguments.connect.empty() ? sim::runPort(arguments.host, arguments.command)
                                         : sim::connectPort(arguments.connect, arguments.command);
    case sim::Arguments::Action::SERVE:
        return sim::servePort(arguments.host, arguments.socket);
    case sim::Arguments::Action::UHID:
        return sim::uhidPort(arguments.host, arguments.uhidDevice);
    case sim::Arguments::Action::GADGET:
        return sim::gadgetPort(arguments.host, arguments.gadgetNodes, arguments.udcFiles);
    case sim::Arguments::Action::TRIGGER:
        return sim::trigger(arguments.connect, arguments.requests, arguments.pause);
    case sim::Arguments::Action::STATE:
        return sim::showState(arguments.connect, arguments.adapter, arguments.json);
    case sim::Arguments::Action::BOARD:
        fmt::print("{}", arguments.printsBoard ? sim::defaultBoardText() : arguments.boardFile + ": good\n");
        return 0;
    case sim::Arguments::Action::REPLAY:
    case sim::Arguments::Action::NOTHING:
        break;
    }
    return arguments.status;
}

} // namespace

int main(int count, char** arguments)
{
    terminal::secureStandardStreams();
    try {
        sim::Arguments parsed = sim::parseArguments(count, arguments);
        if (parsed.action == sim::Arguments::Action::REPLAY) {
            becomeReplay(count, arguments);
        }
        return perform(std::move(parsed));
    } catch (const std::exception& error) {
        terminal::tell(fmt::format("tarvix-sim: {}", error.what()));
        return 1;
    }
}
