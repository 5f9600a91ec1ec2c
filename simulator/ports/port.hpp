// The ways in which tarvix-sim offers its adapters to a host. Each returns the program's exit status and throws a
// std::runtime_error with one line for the user when it cannot start.
#pragma once

#include <string>
#include <vector>

#include "ports/shared/adapter_host.hpp"

namespace sim {

// Runs `command` with the adapters in place of the machine's HID devices; the status is the command's.
int runPort(const HostOptions& options, const std::vector<std::string>& command);

// The same with the adapters of a `tarvix-sim serve`, whose socket this is.
int connectPort(const std::string& socket, const std::vector<std::string>& command);

// Adapters for the commands that connect to them at `socket`, until SIGINT or SIGTERM.
int servePort(const HostOptions& options, const std::string& socket);

// HID devices of this machine's kernel, through `device` (/dev/uhid), until SIGINT or SIGTERM.
int uhidPort(const HostOptions& options, const std::string& device);

// One adapter behind each of the USB HID gadget nodes, until SIGINT or SIGTERM. `udcFiles` is empty or names for each
// node the configfs attribute that binds its gadget to a USB device controller.
int gadgetPort(const HostOptions& options, const std::vector<std::string>& nodes,
               const std::vector<std::string>& udcFiles);

// Sends requests of docs/bench-control.md, with a pause between one and the next, and prints what the answers hold. An
// empty `socket` is that of the `tarvix-sim run` around this process.
int trigger(const std::string& socket, const std::vector<std::string>& requests, std::chrono::milliseconds pause);

// Prints the state of one adapter, by its serial number or index, or if that is empty of all.
int showState(const std::string& socket, const std::string& adapter, bool json);

} // namespace sim
