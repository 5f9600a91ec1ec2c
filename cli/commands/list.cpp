// tarvix list: the adapters, without opening them.
#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "adapter/context.hpp"
#include "adapter/holders.hpp"
#include "adapter/listing.hpp"
#include "adapter/notifications.hpp"
#include "arguments/options.hpp"
#include "commands/command.hpp"
#include "commands/stream.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/waiting.hpp"

namespace tool {

namespace {

struct ListOptions {
    bool watch = false;
    StreamOptions stream;
};

// ---- Once ---------------------------------------------------------------------------------------------------------

std::vector<std::string> pathsOf(const std::vector<Adapter>& adapters)
{
    std::vector<std::string> paths;
    for (const Adapter& adapter : adapters) {
        paths.push_back(adapter.path);
    }
    return paths;
}

bool mayOpen(const Adapter& adapter)
{
    return access(adapter.path.c_str(), R_OK | W_OK) == 0;
}

Json toJson(const Adapter& adapter)
{
    Json fields{{"selector", adapter.selector},      {"serial", adapter.serialNumber},
                {"product", adapter.product},        {"manufacturer", adapter.manufacturer},
                {"vendor_id", adapter.vendorId},     {"product_id", adapter.productId},
                {"report_size", adapter.reportSize}, {"path", adapter.path}};
    if (const std::string port = usbPortOf(adapter.path); !port.empty()) {
        fields["usb_port"] = port;
    }
    return fields;
}

Json toJson(const std::vector<Holder>& holders)
{
    Json rows = Json::array();
    for (const Holder& holder : holders) {
        rows.push_back({{"program", holder.program}, {"process", holder.process}});
    }
    return rows;
}

std::string orDash(const std::string& text)
{
    return text.empty() ? "-" : terminal::printable(text);
}

using Row = std::vector<std::string>;

// In columns as wide as they need; the last has its own width in each line.
std::string tableOf(const std::vector<Row>& rows)
{
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += fmt::format("{}{:<{}}", i > 0 ? "  " : "", row[i], widths[i]);
        }
        text += '\n';
    }
    return text;
}

void listOnce(Context& context)
{
    const std::vector<Adapter> adapters = attachedAdapters();
    if (adapters.empty() && !context.output().json()) {
        terminal::tell("tarvix list: no adapter is attached; run 'tarvix doctor'");
        return;
    }
    const std::vector<std::vector<Holder>> holders = holdersOf(pathsOf(adapters));
    std::vector<Row> rows{{"SELECTOR", "SERIAL", "PRODUCT", "REPORT", "PORT", "ACCESS", "USED BY", "PATH"}};
    Json objects = Json::array();
    for (std::size_t i = 0; i < adapters.size(); ++i) {
        const Adapter& adapter = adapters[i];
        rows.push_back({adapter.selector, terminal::printable(adapter.serialNumber),
                        terminal::printable(adapter.product), fmt::format("{:>6}", adapter.reportSize),
                        orDash(usbPortOf(adapter.path)), mayOpen(adapter) ? "yes" : "no", orDash(textOf(holders[i])),
                        adapter.path});
        Json object = toJson(adapter);
        object["access"] = mayOpen(adapter);
        object["used_by"] = toJson(holders[i]);
        objects.push_back(object);
    }
    context.output().print(tableOf(rows), {{"adapters", objects}});
}

// ---- Watching -----------------------------------------------------------------------------------------------------

bool contains(const std::vector<Adapter>& adapters, const Adapter& wanted)
{
    return std::any_of(adapters.begin(), adapters.end(), [&](const Adapter& adapter) {
        return adapter.path == wanted.path && adapter.serialNumber == wanted.serialNumber;
    });
}

class Watcher {
public:
    Watcher(Output& output, const StreamOptions& options) : output_(output), options_(options) {}

    // Prints what has changed since the last look; at the first, all that are there.
    void look()
    {
        const std::vector<Adapter> before = std::exchange(present_, attachedAdapters());
        print("detached", before, present_);
        print("attached", present_, before);
    }

    bool isDone() const { return options_.count && printed_ >= *options_.count; }

    bool isIdle() const
    {
        return options_.idleTimeout && std::chrono::steady_clock::now() >= lastChange_ + *options_.idleTimeout;
    }

    std::uint64_t printed() const { return printed_; }

private:
    // Those that are not among the others.
    void print(std::string_view event, const std::vector<Adapter>& adapters, const std::vector<Adapter>& others)
    {
        for (const Adapter& adapter : adapters) {
            if (contains(others, adapter) || isDone()) {
                continue;
            }
            const std::string time = timeText(std::chrono::system_clock::now());
            const std::string port = usbPortOf(adapter.path);
            Json fields{{"time", time}, {"event", event}};
            fields.update(toJson(adapter));
            output_.printEvent(fmt::format("{} {} {} at {}{}", time, event, adapter.selector, adapter.path,
                                           port.empty() ? "" : ", port " + port),
                               fields);
            ++printed_;
            lastChange_ = std::chrono::steady_clock::now();
        }
    }

    Output& output_;
    const StreamOptions& options_;
    std::vector<Adapter> present_;
    std::uint64_t printed_ = 0;
    Deadline lastChange_ = std::chrono::steady_clock::now();
};

void watch(Context& context, const StreamOptions& options)
{
    constexpr std::chrono::milliseconds PAUSE{500};
    context.output().beginCommand("list --watch");
    if (options.banner) {
        terminal::tell("watching for adapters");
    }
    Watcher watcher(context.output(), options);
    for (watcher.look(); !watcher.isDone(); watcher.look()) {
        if (watcher.isIdle() && options.count) {
            throw Failure(ExitStatus::NO_ANSWER, fmt::format("{} of {} events came", watcher.printed(), *options.count),
                          "raise --idle-timeout");
        }
        if (watcher.isIdle()) {
            return;
        }
        sleepUntil(std::chrono::steady_clock::now() + PAUSE);
    }
}

void list(Context& context, const ListOptions& options)
{
    if (options.watch) {
        watch(context, options.stream);
        return;
    }
    if (options.stream.count || options.stream.idleTimeout || options.stream.banner) {
        throw UsageError("--count, --idle-timeout and --banner need --watch", "add --watch");
    }
    listOnce(context);
}

} // namespace

void addListCommand(Commands& commands)
{
    auto [app, options] = commands.add<ListOptions>(
        "list", "List attached adapters without opening them", list,
        {"tarvix list", "tarvix list --json", "tarvix list --watch --idle-timeout 100ms"},
        "PORT is the USB port as the kernel names it: 1-2.4 is bus 1, port 2, port 4 of a hub there.\n"
        "ACCESS says whether you may open the adapter. USED BY names the programs that have it open,\n"
        "without root's rights only yours.");
    addFlag(app, "-w,--watch", options.watch, "Print which adapters are attached, then each that comes or goes");
    addStreamOptions(app, options.stream);
}

} // namespace tool
