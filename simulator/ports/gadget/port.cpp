// `tarvix-sim gadget`: adapters behind USB HID gadget nodes (/dev/hidgN).
#include "ports/port.hpp"

#include <deque>
#include <fmt/format.h>

#include "common/terminal.hpp"
#include "ports/gadget/node.hpp"

namespace sim {

int gadgetPort(const HostOptions& options, const std::vector<std::string>& nodes,
               const std::vector<std::string>& udcFiles)
{
    EventLoop loop;
    std::deque<GadgetNode> adapters;
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        adapters.emplace_back(loop, options, index, nodes[index], udcFiles.empty() ? "" : udcFiles[index]);
        adapters.back().start();
        terminal::tell(
            fmt::format("tarvix-sim: adapter {} is behind {}", adapters.back().adapter().serialNumber(), nodes[index]));
    }
    loop.onSignals({SIGINT, SIGTERM, SIGHUP}, [&](const signalfd_siginfo&) { loop.stop(); });
    loop.run();
    return 0;
}

} // namespace sim
