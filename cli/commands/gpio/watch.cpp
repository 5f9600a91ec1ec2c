#include "commands/gpio/watch.hpp"

#include <chrono>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/notifications.hpp"
#include "arguments/options.hpp"
#include "commands/gpio/edges.hpp"
#include "commands/gpio/pins.hpp"
#include "commands/stream.hpp"

namespace tool {

namespace {

const Choices<GpioTriggerType> EDGES{{"rising", GpioTriggerType::RISING_EDGE},
                                     {"falling", GpioTriggerType::FALLING_EDGE},
                                     {"both", GpioTriggerType::BOTH_EDGES}};

struct WatchOptions {
    std::vector<unsigned> pins;
    GpioTriggerType edge = GpioTriggerType::BOTH_EDGES;
    Role bias;
    bool initial = false;
    StreamOptions stream;
};

// The pins are armed as long as it lives.
class ArmedPins {
public:
    ArmedPins(Context& context, const WatchOptions& options) : context_(context)
    {
        for (const unsigned pin : options.pins) {
            applyBias(context, pin, options.bias);
        }
        try {
            for (const unsigned pin : options.pins) {
                context.check(context.sdk().gpioConfigureInterrupt(GpioPinNumber{pin}, options.edge),
                              fmt::format("arming pin {}", pin), PIN_ADVICE);
                armed_.push_back(pin);
            }
        } catch (...) {
            disarm();
            throw;
        }
    }
    ~ArmedPins() { disarm(); }
    ArmedPins(const ArmedPins&) = delete;
    ArmedPins& operator=(const ArmedPins&) = delete;

private:
    // Whatever ended the watch is what the user hears of: statuses do not matter here, and the first one that fails
    // ends it, because the adapter may be gone.
    void disarm()
    {
        for (const unsigned pin : armed_) {
            if (context_.openSdk() == nullptr ||
                context_.openSdk()->gpioDisableInterrupt(GpioPinNumber{pin}) != StatusCode::SUCCESS) {
                return;
            }
        }
    }

    Context& context_;
    std::vector<unsigned> armed_;
};

void printEdge(Context& context, const Event& event)
{
    const char* const name = !event.level                           ? "rising-or-falling"
                             : *event.level == GpioLogicLevel::HIGH ? "rising"
                                                                    : "falling";
    context.output().printEvent(fmt::format("{} {} {}", timeText(event.time), event.pin, name),
                                {{"time", timeText(event.time)}, {"pin", event.pin}, {"edge", name}});
}

void printInitialLevels(Context& context, const std::vector<unsigned>& pins)
{
    for (const unsigned pin : pins) {
        const char* const level = nameOf(readPin(context, pin));
        const std::string time = timeText(std::chrono::system_clock::now());
        context.output().printEvent(fmt::format("{} {} {}", time, pin, level),
                                    {{"time", time}, {"pin", pin}, {"level", level}});
    }
}

void watch(Context& context, const WatchOptions& options)
{
    NotificationStream stream(context);
    const ArmedPins armed(context, options);
    if (options.initial) {
        printInitialLevels(context, options.pins);
    }
    Edges edges(
        {options.pins.begin(), options.pins.end()}, options.edge,
        [&](auto idleTimeout) { return stream.next(idleTimeout); },
        [&](unsigned pin) { return readPin(context, pin); });
    const std::string banner = fmt::format("watching pin {}", fmt::join(options.pins, ", "));
    follow([&](auto idleTimeout) { return edges.next(idleTimeout); }, options.stream, banner,
           [&](const Event& event) {
               const bool ours = edges.isOurs(event);
               if (ours) {
                   printEdge(context, event);
               }
               return ours;
           });
}

} // namespace

void addGpioWatch(Commands& gpio)
{
    auto [app, options] = gpio.add<WatchOptions>(
        "watch", "Print a time-stamped line for each edge, until Ctrl-C", watch,
        {"tarvix gpio watch 3 --idle-timeout 200ms", "tarvix gpio watch -e rising --idle-timeout 200ms 3 4"},
        "With both edges, the direction comes from the level, read after the edge, and from\n"
        "the edges that were reported meanwhile; a pin that never rests long enough for that\n"
        "shows 'rising-or-falling'. One edge alone is never mistaken, and needs no reads.");
    addNumbers(app, "PIN", options.pins, PIN, "Pins to watch, 0 to 7").required();
    addChoice(app, "-e,--edge", options.edge, EDGES, "Edges to report");
    addChoice(app, "-b,--bias", options.bias, BIASES, "First make the pins inputs with this bias");
    addFlag(app, "--initial", options.initial, "First print the levels at the start");
    addStreamOptions(app, options.stream);
}

} // namespace tool
