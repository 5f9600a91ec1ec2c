// tarvix info, reset and boot: the adapter itself.
#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <thread>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "adapter/backend.hpp"
#include "adapter/context.hpp"
#include "adapter/listing.hpp"
#include "arguments/options.hpp"
#include "commands/command.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace tool {

namespace {

void info(Context& context, const NoOptions&)
{
    TarvixSDK::DeviceInfo strings;
    context.check(context.sdk().getDeviceInfo(strings), "reading the adapter's strings");
    const Adapter& adapter = context.adapter();
    const std::array texts{strings.usbString1, strings.usbString2, strings.usbString3, strings.usbString4,
                           strings.usbString5};
    std::string text = fmt::format("adapter:     {} ({:04x}:{:04x}, reports of {} bytes) at {}\n", adapter.selector,
                                   adapter.vendorId, adapter.productId, adapter.reportSize, adapter.path);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        text += fmt::format("string {}:    {}\n", i + 1, terminal::printable(texts[i]));
    }
    const Backend backend = currentBackend();
    text += fmt::format("library:     tarvixsdk {}\nhidapi:      {} ({})\n", TarvixSDK::getVersion(), backend.version,
                        backend.library);
    context.output().print(text, {{"path", adapter.path},
                                  {"report_size", adapter.reportSize},
                                  {"strings", texts},
                                  {"library", TarvixSDK::getVersion()},
                                  {"hidapi", backend.version},
                                  {"backend", backend.library}});
}

using Clock = std::chrono::steady_clock;

template <class Condition>
bool waitFor(std::chrono::milliseconds limit, Condition condition)
{
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        throwIfInterrupted();
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// The node may have another number when the adapter returns; its serial number tells it from others.
bool isBack(const Adapter& adapter)
{
    const auto adapters = attachedAdapters();
    return std::any_of(adapters.begin(), adapters.end(), [&](const Adapter& other) {
        return adapter.serialNumber.empty() ? other.path == adapter.path : other.serialNumber == adapter.serialNumber;
    });
}

// An adapter that is faster than this at coming back was not seen leaving.
constexpr std::chrono::milliseconds LEAVE_LIMIT{1500};
constexpr std::chrono::milliseconds RETURN_LIMIT{10000};

struct ResetOptions {
    bool noWait = false;
};

void reset(Context& context, const ResetOptions& options)
{
    const Adapter adapter = context.adapter();
    context.check(context.sdk().resetDevice(), "resetting the adapter");
    context.close();
    if (!options.noWait && context.hasAdapter()) {
        waitFor(LEAVE_LIMIT, [&] { return !isBack(adapter); });
        if (!waitFor(RETURN_LIMIT, [&] { return isBack(adapter); })) {
            throw Failure(ExitStatus::ADAPTER_LOST,
                          fmt::format("the adapter did not come back within {} s", RETURN_LIMIT.count() / 1000),
                          "plug it back in");
        }
    }
    context.output().print(fmt::format("{}: reset", adapter.selector), Json::object());
}

struct BootOptions {
    bool yes = false;
};

bool confirmed(const Adapter& adapter)
{
    if (isatty(STDIN_FILENO) != 1) {
        throw UsageError("boot mode needs confirmation, but standard input is not a terminal", "use -y");
    }
    terminal::tell(
        fmt::format("{} will leave the USB bus and take no commands until new firmware is loaded or it is replugged.",
                    adapter.selector));
    terminal::writeError("Enter boot mode? [y/N] ");
    std::array<char, 16> answer{};
    const ssize_t length = read(STDIN_FILENO, answer.data(), answer.size());
    throwIfInterrupted();
    return length > 0 && (answer[0] == 'y' || answer[0] == 'Y');
}

void boot(Context& context, const BootOptions& options)
{
    const Adapter adapter = context.adapter();
    if (!options.yes && context.hasAdapter() && !confirmed(adapter)) {
        throw Failure(ExitStatus::REFUSED, "cancelled: nothing was done");
    }
    context.check(context.sdk().enterBootMode(), "entering boot mode");
    context.close();
    if (!waitFor(LEAVE_LIMIT, [&] { return !isListed(adapter.path); })) {
        throw Failure(ExitStatus::REFUSED, "the adapter is still on the USB bus", "run 'tarvix doctor'");
    }
    context.output().print(fmt::format("{}: in boot mode", adapter.selector), Json::object());
}

} // namespace

void addAdapterCommands(Commands& commands)
{
    commands.add<NoOptions>("info", "Print the adapter's strings and the software versions", info, {"tarvix info"});
    auto reset_ =
        commands.add<ResetOptions>("reset", "Restart the adapter and wait until it is back", reset, {"tarvix reset"});
    addFlag(reset_.app, "--no-wait", reset_.options.noWait, "Do not wait");
    auto boot_ =
        commands.add<BootOptions>("boot", "Put the adapter into boot mode to load firmware", boot, {"tarvix boot -y"});
    addFlag(boot_.app, "-y,--yes", boot_.options.yes, "Do not ask for confirmation");
}

} // namespace tool
