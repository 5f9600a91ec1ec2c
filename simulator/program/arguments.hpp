// The command line of tarvix-sim.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "ports/shared/adapter_host.hpp"

namespace sim {

struct Arguments {
    enum class Action { RUN, UHID, GADGET, TRIGGER, BOARD, NOTHING };

    Action action = Action::NOTHING; // nothing to do but to exit with `status`
    int status = 0;

    HostOptions host;
    std::string boardFile;    // empty for the default board
    bool printsBoard = false; // board: prints the default one, else checks the file
    std::string vcdFile;      // empty for none; whoever performs the action makes the recorder
    std::chrono::steady_clock::duration longestVcdPause = std::chrono::steady_clock::duration::max();

    std::vector<std::string> command;     // run
    std::string uhidDevice = "/dev/uhid"; // uhid
    std::vector<std::string> gadgetNodes; // gadget
    std::vector<std::string> udcFiles;    // gadget
    std::string event;                    // trigger
    std::string adapter = "0";            // trigger: serial number or index
    std::vector<std::string> eventFields; // trigger: decimal numbers, the target first
};

// Prints help and version to stdout, and one line about a mistake to stderr.
Arguments parseArguments(int count, char** arguments);

} // namespace sim
