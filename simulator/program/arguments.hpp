// The command line of tarvix-sim.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "ports/shared/adapter_host.hpp"
#include "replay/options.hpp"

namespace sim {

struct Arguments {
    enum class Action { RUN, SERVE, REPLAY, UHID, GADGET, TRIGGER, STATE, BOARD, NOTHING };

    Action action = Action::NOTHING; // nothing to do but to exit with `status`
    int status = 0;

    HostOptions host;
    std::string boardFile;    // empty for the default board
    bool printsBoard = false; // board: prints the default one, else checks the file
    std::string vcdFile;      // empty for none; whoever performs the action makes the recorder
    std::chrono::steady_clock::duration longestVcdPause = std::chrono::steady_clock::duration::max();

    std::vector<std::string> command;     // run, replay
    ReplayOptions replay;                 // replay
    std::string uhidDevice = "/dev/uhid"; // uhid
    std::vector<std::string> gadgetNodes; // gadget
    std::vector<std::string> udcFiles;    // gadget
    std::vector<std::string> requests;    // trigger: JSON
    std::chrono::milliseconds pause{0};   // trigger: between them
    std::string adapter;                  // trigger, state: serial number or index, empty for none chosen
    bool json = false;                    // state
    std::string connect;                  // run, trigger, state: socket of a serve; empty: none chosen
    std::string socket;                   // serve
};

// Prints help and version to stdout, and one line about a mistake to stderr.
Arguments parseArguments(int count, char** arguments);

} // namespace sim
