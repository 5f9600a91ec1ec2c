// tarvix rail: the supply of the bus pins.
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/choices.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "commands/command.hpp"
#include "commands/polling.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

enum class Rail { SHARED, I3C };

const Choices<Rail> RAILS{{"shared", Rail::SHARED}, {"i3c", Rail::I3C}};

// In millivolts.
struct Measured {
    std::uint16_t shared = 0;
    std::uint16_t i3c1 = 0;
    std::uint16_t i3c2 = 0;

    Json fields() const { return {{"shared", {{"millivolts", shared}}}, {"i3c", {{"millivolts", {i3c1, i3c2}}}}}; }
};

Measured measure(Context& context)
{
    Measured measured;
    context.check(context.sdk().gpioGetVoltage(measured.shared), "reading the shared rail");
    context.check(context.sdk().i3cGetBusVoltage(measured.i3c1, measured.i3c2), "reading the I3C rail");
    return measured;
}

void show(Context& context, const NoOptions&)
{
    const Measured now = measure(context);
    context.output().print(fmt::format("shared  {} mV\ni3c     {} mV, {} mV\n", now.shared, now.i3c1, now.i3c2),
                           now.fields());
}

void log(Context& context, const PollOptions& options)
{
    pollReads(context, options, {"shared_mv", "i3c_1_mv", "i3c_2_mv"}, [&] {
        const Measured now = measure(context);
        return Sample{fmt::format("shared {} mV, i3c {} mV, {} mV", now.shared, now.i3c1, now.i3c2),
                      {now.shared, now.i3c1, now.i3c2},
                      now.fields()};
    });
}

struct SetOptions {
    Rail rail = Rail::SHARED;
    std::vector<std::string> values;
    bool flag = false;
};

// What the values of one command line ask for.
struct Setting {
    std::optional<std::uint16_t> millivolts;
    std::optional<bool> external;
};

Setting parseSetting(const std::vector<std::string>& values)
{
    Setting setting;
    for (const std::string& value : values) {
        const bool supply = value == "external" || value == "internal";
        if (supply ? setting.external.has_value() : setting.millivolts.has_value()) {
            throw UsageError(
                fmt::format("VALUE: '{}' sets the {} a second time", value, supply ? "source" : "voltage"));
        }
        if (supply) {
            setting.external = value == "external";
        } else {
            setting.millivolts = parseVoltage("VALUE", value);
        }
    }
    return setting;
}

// The voltage first: a rail that is switched to the internal supply then starts with the right one.
void set(Context& context, const SetOptions& options)
{
    const Setting setting = parseSetting(options.values);
    TarvixSDK& sdk = context.sdk();
    const bool shared = options.rail == Rail::SHARED;
    const char* name = shared ? "shared" : "I3C";
    if (setting.millivolts) {
        context.check(shared ? sdk.gpioSetVoltage(*setting.millivolts, options.flag)
                             : sdk.i3cSetBusVoltage(*setting.millivolts),
                      fmt::format("setting the {} rail to {} mV", name, *setting.millivolts));
    }
    if (setting.external) {
        context.check(shared ? sdk.gpioUseExternalVoltage(*setting.external)
                             : sdk.i3cUseExternalVoltage(*setting.external),
                      fmt::format("setting the source of the {} rail", name));
    }
    show(context, {});
}

void addLog(Commands& rail)
{
    auto [app, options] = rail.add<PollOptions>("log", "Print the measured voltages again and again, until Ctrl-C", log,
                                                {"tarvix rail log --every 100ms -n 5", "tarvix rail log --csv -n 1"});
    options.every = std::chrono::seconds(1);
    addPollOptions(app, options);
}

void addSet(Commands& rail)
{
    auto [app, options] = rail.add<SetOptions>(
        "set", "Set a rail's voltage or source, then print the measured voltages", set,
        {"tarvix rail set shared 3.3V", "tarvix rail set i3c 1800mV internal", "tarvix rail set shared external"});
    addChoice(app, "RAIL", options.rail, RAILS, "Rail to set").required();
    addTexts(app, "VALUE", options.values, "Voltage (3300, 3300mV, 3.3V), source (internal, external) or both")
        .required()
        .words(1, 2);
    addFlag(app, "--flag", options.flag,
            "Set the option bit of the shared rail; its meaning is defined by the firmware");
}

} // namespace

void addRailCommands(Commands& commands)
{
    commands.group("rail", "Pin supplies: the shared rail (I2C, SPI, UART, GPIO) and the I3C rail", [](Commands& rail) {
        rail.add<NoOptions>("show", "Print the measured voltages", show,
                            {"tarvix rail show", "tarvix rail show --json"});
        addSet(rail);
        addLog(rail);
    });
}

} // namespace tool
