// tarvix gpio: levels, roles and interrupts of the pins.
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/notifications.hpp"
#include "arguments/choices.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "commands/command.hpp"
#include "commands/stream.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

constexpr Range PIN{0, 7};
const char* const PIN_ADVICE = "check the pin's number and direction";

using Role = std::optional<GpioFunctionality>; // none leaves the pin as it is

const Choices<Role> BIASES{{"as-is", std::nullopt},
                           {"disabled", GpioFunctionality::INPUT},
                           {"pull-up", GpioFunctionality::INPUT_PULL_UP},
                           {"pull-down", GpioFunctionality::INPUT_PULL_DOWN}};

const Choices<Role> DRIVES{
    {"push-pull", GpioFunctionality::OUTPUT}, {"open-drain", GpioFunctionality::OPEN_DRAIN}, {"as-is", std::nullopt}};

const Choices<GpioLogicLevel> LEVELS{{"low", GpioLogicLevel::LOW},
                                     {"high", GpioLogicLevel::HIGH},
                                     {"0", GpioLogicLevel::LOW},
                                     {"1", GpioLogicLevel::HIGH}};

const Choices<GpioTriggerType> EDGES{{"rising", GpioTriggerType::RISING_EDGE},
                                     {"falling", GpioTriggerType::FALLING_EDGE},
                                     {"both", GpioTriggerType::BOTH_EDGES}};

// Makes a pin an input with this bias, if there is one.
void applyBias(Context& context, unsigned pin, const Role& bias)
{
    if (bias) {
        context.check(context.sdk().gpioConfigurePin(GpioPinNumber{pin}, *bias, GpioLogicLevel::LOW),
                      fmt::format("configuring pin {}", pin), PIN_ADVICE);
    }
}

struct GetOptions {
    std::vector<unsigned> pins;
    Role bias;
    bool numeric = false;
};

void get(Context& context, const GetOptions& options)
{
    std::string text;
    Json pins = Json::array();
    for (const unsigned pin : options.pins) {
        applyBias(context, pin, options.bias);
        GpioLogicLevel level = GpioLogicLevel::LOW;
        context.check(context.sdk().gpioDigitalRead(GpioPinNumber{pin}, level), fmt::format("reading pin {}", pin),
                      PIN_ADVICE);
        const bool high = level != GpioLogicLevel::LOW;
        text += text.empty() ? "" : " ";
        text += options.numeric ? fmt::format("{:d}", high) : fmt::format("{}={}", pin, high ? "high" : "low");
        pins.push_back({{"pin", pin}, {"level", high ? "high" : "low"}});
    }
    context.output().print(text, {{"pins", pins}});
}

struct SetOptions {
    std::vector<std::string> assignments;
    Role drive = GpioFunctionality::OUTPUT;
};

std::pair<unsigned, GpioLogicLevel> parseAssignment(const std::string& text)
{
    const auto equals = text.find('=');
    if (equals == std::string::npos) {
        throw UsageError(fmt::format("PIN=LEVEL: '{}' has no '='", text), "write 3=1 or 3=high");
    }
    const auto pin = static_cast<unsigned>(parseNumber("PIN", text.substr(0, equals), PIN));
    return {pin, parseChoice("LEVEL", text.substr(equals + 1), LEVELS)};
}

void set(Context& context, const SetOptions& options)
{
    // All of them are understood before any pin moves.
    std::vector<std::pair<unsigned, GpioLogicLevel>> assignments;
    for (const std::string& text : options.assignments) {
        assignments.push_back(parseAssignment(text));
    }
    Json pins = Json::array();
    for (const auto& [number, level] : assignments) {
        const GpioPinNumber pin{number};
        TarvixSDK& sdk = context.sdk();
        context.check(options.drive ? sdk.gpioConfigurePin(pin, *options.drive, level)
                                    : sdk.gpioDigitalWrite(pin, level),
                      fmt::format("driving pin {}", number), PIN_ADVICE);
        pins.push_back({{"pin", number}, {"level", level == GpioLogicLevel::HIGH ? "high" : "low"}});
    }
    context.output().print({}, {{"pins", pins}});
}

struct WatchOptions {
    std::vector<unsigned> pins;
    GpioTriggerType edge = GpioTriggerType::BOTH_EDGES;
    Role bias;
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
                armed_.insert(pin);
            }
        } catch (...) {
            disarm();
            throw;
        }
    }
    ~ArmedPins() { disarm(); }
    ArmedPins(const ArmedPins&) = delete;
    ArmedPins& operator=(const ArmedPins&) = delete;

    bool contain(unsigned pin) const { return armed_.count(pin) != 0; }

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
    std::set<unsigned> armed_;
};

void printEdge(Context& context, const Event& event, GpioTriggerType edge)
{
    // A notification names the pin only; with both edges armed it may have been either.
    const char* name = edge == GpioTriggerType::RISING_EDGE    ? "rising"
                       : edge == GpioTriggerType::FALLING_EDGE ? "falling"
                                                               : "edge";
    context.output().printEvent(fmt::format("{} {} {}", timeText(event.time), event.pin, name),
                                {{"time", timeText(event.time)}, {"pin", event.pin}, {"edge", name}});
}

void watch(Context& context, const WatchOptions& options)
{
    NotificationStream stream(context);
    const ArmedPins armed(context, options);
    const std::string banner = fmt::format("watching pin {}", fmt::join(options.pins, ", "));
    follow(stream, options.stream, banner, [&](const Event& event) {
        const bool ours = event.kind == NotificationKind::GPIO_INTERRUPT && event.complete && armed.contain(event.pin);
        if (ours) {
            printEdge(context, event, options.edge);
        }
        return ours;
    });
}

void addGet(Commands& gpio)
{
    auto [app, options] =
        gpio.add<GetOptions>("get", "Print pin levels as 3=high 4=low", get,
                             {"tarvix gpio get 3 4", "tarvix gpio get --numeric 3 4", "tarvix gpio get -b pull-up 5"});
    addNumbers(app, "PIN", options.pins, PIN, "Pins to read, 0 to 7").required();
    addChoice(app, "-b,--bias", options.bias, BIASES, "First make the pins inputs with this bias");
    addFlag(app, "--numeric", options.numeric, "Print 1 and 0 instead");
}

void addSet(Commands& gpio)
{
    auto [app, options] =
        gpio.add<SetOptions>("set", "Make pins outputs and drive them; they keep their levels when the command ends",
                             set, {"tarvix gpio set 3=1 4=low", "tarvix gpio set -d open-drain 5=high"});
    addTexts(app, "ASSIGNMENT", options.assignments, "Pin and level: 0, 1, low or high")
        .required()
        .valueName("PIN=LEVEL");
    addChoice(app, "-d,--drive", options.drive, DRIVES, "Output type; as-is leaves existing outputs unchanged");
}

void addWatch(Commands& gpio)
{
    auto [app, options] = gpio.add<WatchOptions>(
        "watch", "Print a time-stamped line for each edge, until Ctrl-C", watch,
        {"tarvix gpio watch 3 --idle-timeout 200ms", "tarvix gpio watch -e rising --idle-timeout 200ms 3 4"});
    addNumbers(app, "PIN", options.pins, PIN, "Pins to watch, 0 to 7").required();
    addChoice(app, "-e,--edge", options.edge, EDGES, "Edges to report");
    addChoice(app, "-b,--bias", options.bias, BIASES, "First make the pins inputs with this bias");
    addStreamOptions(app, options.stream);
}

} // namespace

void addGpioCommands(Commands& commands)
{
    commands.group("gpio", "GPIO pins: read, drive and watch", [](Commands& gpio) {
        addGet(gpio);
        addSet(gpio);
        addWatch(gpio);
    });
}

} // namespace tool
