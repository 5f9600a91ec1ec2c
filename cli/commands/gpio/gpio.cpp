// tarvix gpio: levels and roles of the pins.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/choices.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "commands/command.hpp"
#include "commands/gpio/pins.hpp"
#include "commands/gpio/watch.hpp"
#include "console/errors.hpp"
#include "console/waiting.hpp"

namespace tool {

namespace {

const Choices<Role> DRIVES{
    {"push-pull", GpioFunctionality::OUTPUT}, {"open-drain", GpioFunctionality::OPEN_DRAIN}, {"as-is", std::nullopt}};

const Choices<GpioLogicLevel> LEVELS{{"low", GpioLogicLevel::LOW},
                                     {"high", GpioLogicLevel::HIGH},
                                     {"0", GpioLogicLevel::LOW},
                                     {"1", GpioLogicLevel::HIGH}};

using Levels = std::vector<std::pair<unsigned, GpioLogicLevel>>; // by pin

Levels read(Context& context, const std::vector<unsigned>& pins)
{
    Levels levels;
    for (const unsigned pin : pins) {
        levels.emplace_back(pin, readPin(context, pin));
    }
    return levels;
}

Levels opposites(Levels levels)
{
    for (auto& [pin, level] : levels) {
        level = opposite(level);
    }
    return levels;
}

void drive(Context& context, const Levels& levels, const Role& type)
{
    for (const auto& [pin, level] : levels) {
        drivePin(context, pin, type, level);
    }
}

Json toJson(const Levels& levels)
{
    Json pins = Json::array();
    for (const auto& [pin, level] : levels) {
        pins.push_back({{"pin", pin}, {"level", nameOf(level)}});
    }
    return {{"pins", pins}};
}

void print(Context& context, const Levels& levels, bool numeric)
{
    std::string text;
    for (const auto& [pin, level] : levels) {
        text += text.empty() ? "" : " ";
        text += numeric ? fmt::format("{:d}", level == GpioLogicLevel::HIGH) : fmt::format("{}={}", pin, nameOf(level));
    }
    context.output().print(text, toJson(levels));
}

struct GetOptions {
    std::vector<unsigned> pins;
    Role bias;
    bool numeric = false;
};

void get(Context& context, const GetOptions& options)
{
    for (const unsigned pin : options.pins) {
        applyBias(context, pin, options.bias);
    }
    print(context, read(context, options.pins), options.numeric);
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
    Levels levels;
    for (const std::string& text : options.assignments) {
        levels.push_back(parseAssignment(text));
    }
    drive(context, levels, options.drive);
    context.output().print({}, toJson(levels));
}

struct ToggleOptions {
    std::vector<unsigned> pins;
    Role drive = GpioFunctionality::OUTPUT;
};

void toggle(Context& context, const ToggleOptions& options)
{
    const Levels levels = opposites(read(context, options.pins));
    drive(context, levels, options.drive);
    print(context, levels, false);
}

struct PulseOptions {
    std::vector<unsigned> pins;
    Role drive = GpioFunctionality::OUTPUT;
    std::chrono::milliseconds length{10};
    std::uint64_t times = 1;
};

// Whatever ends the pulses, Ctrl-C for one, no pin is left in one.
void pulse(Context& context, const PulseOptions& options)
{
    const Levels rest = read(context, options.pins);
    const auto pause = [&] { sleepUntil(std::chrono::steady_clock::now() + options.length); };
    try {
        Role type = options.drive;
        for (std::uint64_t done = 0; done < options.times; ++done, type = std::nullopt) {
            if (done > 0) {
                pause();
            }
            drive(context, opposites(rest), type);
            pause();
            drive(context, rest, std::nullopt);
        }
    } catch (...) {
        // What ended the pulses is what the user hears of.
        for (const auto& [pin, level] : rest) {
            context.openSdk()->gpioDigitalWrite(GpioPinNumber{pin}, level);
        }
        throw;
    }
    context.output().print({}, toJson(rest));
}

void addDrive(CLI::App& app, Role& drive)
{
    addChoice(app, "-d,--drive", drive, DRIVES, "Output type; as-is leaves existing outputs unchanged");
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
    addDrive(app, options.drive);
}

void addToggle(Commands& gpio)
{
    auto [app, options] =
        gpio.add<ToggleOptions>("toggle", "Make pins outputs at the opposite of the levels that they have", toggle,
                                {"tarvix gpio toggle 3 4", "tarvix gpio toggle -d open-drain 5"});
    addNumbers(app, "PIN", options.pins, PIN, "Pins to toggle, 0 to 7").required();
    addDrive(app, options.drive);
}

void addPulse(Commands& gpio)
{
    auto [app, options] = gpio.add<PulseOptions>(
        "pulse", "Make pins outputs, and drive them to the opposite of the levels that they have and back", pulse,
        {"tarvix gpio pulse 3 --for 10ms --times 5", "tarvix gpio pulse -d open-drain 5"},
        "No pulse is shorter than asked for; how much longer is up to USB, usually a\n"
        "millisecond or two. Ctrl-C leaves no pin in a pulse.");
    addNumbers(app, "PIN", options.pins, PIN, "Pins to pulse together, 0 to 7").required();
    addPeriod(app, "--for", options.length, {1, PERIOD.high}, "Length of a pulse, and of the pause between two");
    addNumber(app, "--times", options.times, {1}, "Pulses");
    addDrive(app, options.drive);
}

} // namespace

void addGpioCommands(Commands& commands)
{
    commands.group("gpio", "GPIO pins: read, drive and watch", [](Commands& gpio) {
        addGet(gpio);
        addSet(gpio);
        addToggle(gpio);
        addPulse(gpio);
        addGpioWatch(gpio);
    });
}

} // namespace tool
