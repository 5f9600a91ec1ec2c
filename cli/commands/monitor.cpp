// tarvix monitor: everything that the adapter reports by itself.
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/notifications.hpp"
#include "arguments/options.hpp"
#include "commands/command.hpp"
#include "commands/stream.hpp"
#include "console/output.hpp"

namespace tool {

namespace {

void monitor(Context& context, const StreamOptions& options)
{
    NotificationStream stream(context);
    follow(stream, options, fmt::format("monitoring {}", context.adapter().selector), [&](const Event& event) {
        context.output().printEvent(fmt::format("{} {}", timeText(event.time), describe(event)), toJson(event));
        return true;
    });
}

} // namespace

void addMonitorCommand(Commands& commands)
{
    auto [app, options] = commands.add<StreamOptions>(
        "monitor", "Print events as the adapter reports them: pin edges, UART data, I3C interrupts and hot-joins",
        monitor, {"tarvix monitor --idle-timeout 200ms", "tarvix monitor --idle-timeout 200ms --json"});
    addStreamOptions(app, options);
}

} // namespace tool
