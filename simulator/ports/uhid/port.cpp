// `tarvix-sim uhid`: adapters as HID devices of this machine's kernel, through /dev/uhid.
#include "ports/port.hpp"

#include <cerrno>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <stdexcept>

#include "common/terminal.hpp"
#include "ports/uhid/device.hpp"

namespace sim {

namespace {

// The kernel keeps 31 events for the adapter and drops output reports beyond them, where USB would let the writer wait.
// So the adapter takes them before anything else on this machine happens, and all that are there at once.
void takePrecedence()
{
    const sched_param lowestOfThem{.sched_priority = 1};
    if (::sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &lowestOfThem) < 0) {
        terminal::tell(fmt::format("tarvix-sim: runs at ordinary priority ({}): long requests may lose segments",
                                   std::strerror(errno)));
    }
}

} // namespace

int uhidPort(const HostOptions& options, const std::string& device)
{
    takePrecedence();
    EventLoop loop;
    std::deque<UhidDevice> devices;
    for (std::size_t index = 0; index < options.adapters.size(); ++index) {
        FileDescriptor channel(::open(device.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        if (!channel) {
            throw std::runtime_error(fmt::format("cannot open {}: {}; load the kernel's module (modprobe uhid) and run "
                                                 "as root, or use 'tarvix-sim run', which needs neither",
                                                 device, std::strerror(errno)));
        }
        devices.emplace_back(loop, options, index, std::move(channel));
        devices.back().adapter().plugIn();
        terminal::tell(fmt::format("tarvix-sim: adapter {} is plugged in", devices.back().adapter().serialNumber()));
    }
    loop.onSignals({SIGINT, SIGTERM, SIGHUP}, [&](const signalfd_siginfo&) { loop.stop(); });
    loop.run();
    return 0;
}

} // namespace sim
