#include "virtual_cable.hpp"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "waiting.hpp"

namespace e2e {

namespace {

std::string gadgetNode(const Place& place)
{
    return place.reportSize == 64 ? "/dev/hidg0" : "/dev/hidg1";
}

std::string controllerOf(const Place& place)
{
    return place.reportSize == 64 ? "dummy_udc.0" : "dummy_udc.1";
}

// Binds the gadget to a controller, or to none.
std::string bindingOf(const Place& place)
{
    return "/sys/kernel/config/usb_gadget/tarvix" + std::to_string(place.reportSize) + "/UDC";
}

std::vector<std::string> commandOf(const Place& place)
{
    std::vector<std::string> command{"tarvix-sim"};
    if (place.port == Port::UHID) {
        command.emplace_back("uhid");
    } else {
        command.insert(command.end(), {"gadget", gadgetNode(place), "--udc-file", bindingOf(place)});
    }
    command.insert(command.end(),
                   {"--report-size", std::to_string(place.reportSize), "--serial", place.serialNumber()});
    return command;
}

} // namespace

std::string logOf(const Place& place)
{
    return "/tmp/tarvix-sim." + place.serialNumber();
}

std::optional<std::string> nodeOf(const std::string& serialNumber)
{
    std::error_code gone; // devices come and go while we look
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/hidraw", gone)) {
        const std::string properties = contentsOf(entry.path() / "device/uevent");
        const std::string node = "/dev/" + entry.path().filename().string();
        if (properties.find("HID_UNIQ=" + serialNumber + '\n') != std::string::npos &&
            ::access(node.c_str(), F_OK) == 0) {
            return node;
        }
    }
    return std::nullopt;
}

VirtualCable::VirtualCable(Place place, std::vector<std::string> options) : place_(place), options_(std::move(options))
{
    unbind(); // as a crashed scenario may have left it
    plug();
    std::printf("  %s is %s\n", place_.serialNumber().c_str(), node().c_str());
}

VirtualCable::~VirtualCable()
{
    stopProgram(SIGTERM);
    unbind();
}

std::string VirtualCable::node() const
{
    const auto node = nodeOf(place_.serialNumber());
    require(node.has_value(), place_.serialNumber() + " has no hidraw node");
    return *node;
}

void VirtualCable::plug()
{
    if (place_.port == Port::GADGET) {
        const std::string file = bindingOf(place_);
        require((std::ofstream(file) << controllerOf(place_) << std::flush).good(), "cannot write " + file);
    }
    startProgram();
    eventually("the node of " + place_.serialNumber() + " appears",
               [this] { return nodeOf(place_.serialNumber()).has_value(); });
}

// A uhid device ends with its maker. A gadget is taken off its controller, which the host sees as a drawn plug; the
// program goes first, for the gadget's node ends with that.
void VirtualCable::pull()
{
    stopProgram(SIGKILL);
    unbind();
    eventually("the node of " + place_.serialNumber() + " vanishes",
               [this] { return !nodeOf(place_.serialNumber()).has_value(); });
}

std::string VirtualCable::log() const
{
    return contentsOf(logOf(place_));
}

void VirtualCable::startProgram()
{
    auto command = commandOf(place_);
    command.insert(command.end(), options_.begin(), options_.end());
    ::unlink(logOf(place_).c_str()); // what is in it shows that the program is ready
    program_ = ::fork();
    require(program_ >= 0, "cannot fork");
    if (program_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a scenario that crashes leaves no adapter behind
        const int log = ::open(logOf(place_).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
        execute(command);
    }
    eventually("tarvix-sim is ready", [this] { return log().find("tarvix-sim: adapter ") != std::string::npos; });
}

void VirtualCable::stopProgram(int signal)
{
    if (program_ > 0) {
        ::kill(program_, signal);
        ::waitpid(program_, nullptr, 0);
        program_ = -1;
    }
}

void VirtualCable::unbind() const
{
    if (place_.port == Port::GADGET) {
        std::ofstream(bindingOf(place_)) << '\n' << std::flush; // fails when it is not bound
    }
}

} // namespace e2e
