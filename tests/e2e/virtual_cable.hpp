// A virtual adapter on one of the kernel's two ways to pretend hardware, and the cable that it hangs on.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "waiting.hpp"

namespace e2e {

enum class Port {
    UHID,   // a HID device through /dev/uhid
    GADGET, // a USB gadget on the kernel's dummy host controller: script `gadgets` has set it up
};

// Where an adapter hangs. The two report sizes are two adapters, each with its own serial number.
struct Place {
    Port port;
    std::size_t reportSize; // 64 or 1024

    std::string serialNumber() const { return reportSize == 64 ? "TVX0000064" : "TVX0001024"; }
    std::string log() const { return "/tmp/tarvix-sim." + serialNumber(); } // what tarvix-sim printed
    Place other() const { return {port, reportSize == 64 ? std::size_t{1024} : std::size_t{64}}; }
};

class VirtualCable {
public:
    // Plugged in, with its node in place. `options` are those of tarvix-sim.
    explicit VirtualCable(Place place, const std::vector<std::string>& options = {});
    ~VirtualCable();
    VirtualCable(const VirtualCable&) = delete;
    VirtualCable& operator=(const VirtualCable&) = delete;

    std::string node() const; // of hidraw; empty when it has none that can be opened

    // Both return when the kernel has noticed.
    void pull();
    void plug();

    // The adapter takes and sends nothing while it is deaf: nobody reads its node.
    void deafen() const { program_->signal(SIGSTOP); }
    void hear() const { program_->signal(SIGCONT); }

    bool hasPrinted(const std::string& text) const; // whether tarvix-sim has, since it was started last

private:
    void bindTo(const std::string& controller) const;

    const Place place_;
    std::vector<std::string> command_;
    std::optional<Child> program_;
};

} // namespace e2e
