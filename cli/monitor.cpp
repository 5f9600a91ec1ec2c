// tarvix monitor: everything that the adapter reports by itself.
#include <chrono>
#include <cstdio>
#include <optional>

#include <fmt/format.h>

#include "command.hpp"
#include "notifications.hpp"
#include "numbers.hpp"

namespace tool {

namespace {

struct MonitorOptions {
    std::uint64_t count = 0;
    std::optional<std::chrono::milliseconds> idleTimeout;
    bool banner = false;
};

void monitor(Context& context, const MonitorOptions& options)
{
    NotificationStream stream(context);
    if (options.banner) {
        fmt::print(stderr, "monitoring {}\n", context.adapter().selector);
    }
    for (std::uint64_t seen = 0; options.count == 0 || seen < options.count; ++seen) {
        const auto event = stream.next(options.idleTimeout);
        if (!event) {
            return;
        }
        context.output().printEvent(fmt::format("{} {}", timeText(event->time), describe(*event)), toJson(*event));
    }
}

} // namespace

void addMonitorCommand(Commands& commands)
{
    auto [app, options] = commands.add<MonitorOptions>(
        "monitor", "Print what the adapter reports by itself: pin edges, UART data, I3C interrupts and hot-joins",
        monitor, {"tarvix monitor --idle-timeout 200ms", "tarvix monitor -n 1 --idle-timeout 200ms --json"});
    addStreamOptions(app, options.count, options.idleTimeout, options.banner);
}

} // namespace tool
