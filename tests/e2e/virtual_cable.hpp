// A virtual adapter on one of the kernel's two ways to pretend hardware, and the cable that it hangs on.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

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
    Place other() const { return {port, reportSize == 64 ? std::size_t{1024} : std::size_t{64}}; }
};

// The hidraw node of the adapter with this serial number, once it can be opened.
std::optional<std::string> nodeOf(const std::string& serialNumber);

class VirtualCable {
public:
    // Plugged in, with its node in place. `options` are those of tarvix-sim.
    explicit VirtualCable(Place place, std::vector<std::string> options = {});
    ~VirtualCable();
    VirtualCable(const VirtualCable&) = delete;
    VirtualCable& operator=(const VirtualCable&) = delete;

    const Place& place() const { return place_; }
    std::string node() const;

    // Both return when the kernel has noticed.
    void pull();
    void plug();

    // What tarvix-sim has printed since it was started last.
    std::string log() const;

private:
    void startProgram();
    void stopProgram(int signal);
    void unbind() const;

    Place place_;
    std::vector<std::string> options_;
    pid_t program_ = -1;
};

// Where tarvix-sim's output goes; the last of it is printed when a scenario fails.
std::string logOf(const Place& place);

} // namespace e2e
