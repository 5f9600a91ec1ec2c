#include "virtual_cable.hpp"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace e2e {

namespace {

std::string gadgetNumber(const Place& place)
{
    return place.reportSize == 64 ? "0" : "1";
}

// Binds the gadget to a controller, or to none.
std::string bindingOf(const Place& place)
{
    return "/sys/kernel/config/usb_gadget/tarvix" + std::to_string(place.reportSize) + "/UDC";
}

} // namespace

VirtualCable::VirtualCable(Place place, const std::vector<std::string>& options)
    : place_(place), command_{"tarvix-sim", "uhid"}
{
    if (place.port == Port::GADGET) {
        command_ = {"tarvix-sim", "gadget", "/dev/hidg" + gadgetNumber(place), "--udc-file", bindingOf(place)};
    }
    command_.insert(command_.end(),
                    {"--report-size", std::to_string(place.reportSize), "--serial", place.serialNumber()});
    command_.insert(command_.end(), options.begin(), options.end());
    bindTo(""); // a crashed scenario may have left it bound
    plug();
    std::printf("  %s is %s\n", place.serialNumber().c_str(), node().c_str());
}

VirtualCable::~VirtualCable()
{
    if (program_) {
        program_->end(SIGTERM);
    }
    bindTo("");
}

std::string VirtualCable::node() const
{
    std::error_code gone; // devices come and go while we look
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/hidraw", gone)) {
        const std::string properties = contentsOf(entry.path() / "device/uevent");
        const std::string node = "/dev/" + entry.path().filename().string();
        if (properties.find("HID_UNIQ=" + place_.serialNumber() + '\n') != std::string::npos &&
            ::access(node.c_str(), F_OK) == 0) {
            return node;
        }
    }
    return "";
}

void VirtualCable::plug()
{
    bindTo("dummy_udc." + gadgetNumber(place_));
    ::unlink(place_.log().c_str()); // what is in it shows that the program is ready
    program_.emplace([this]() -> int {
        redirectOutput(place_.log());
        execute(command_);
    });
    eventually("tarvix-sim is ready", [this] { return hasPrinted("tarvix-sim: adapter "); });
    eventually("the node of " + place_.serialNumber() + " appears", [this] { return !node().empty(); });
}

// A uhid device ends with its maker. A gadget is taken off its controller, which the host sees as a drawn plug; the
// program goes first, for the gadget's node ends with that.
void VirtualCable::pull()
{
    program_.reset();
    bindTo("");
    eventually("the node of " + place_.serialNumber() + " vanishes", [this] { return node().empty(); });
}

bool VirtualCable::hasPrinted(const std::string& text) const
{
    return contentsOf(place_.log()).find(text) != std::string::npos;
}

void VirtualCable::bindTo(const std::string& controller) const
{
    if (place_.port == Port::GADGET) {
        const bool bound = (std::ofstream(bindingOf(place_)) << controller << '\n' << std::flush).good();
        require(bound || controller.empty(),
                "cannot write " + bindingOf(place_)); // unbinding fails when it is not bound
    }
}

} // namespace e2e
