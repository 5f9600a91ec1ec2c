#include "commands/i3c/bus.hpp"

#include <string>

#include <fmt/format.h>

#include "adapter/statuses.hpp"
#include "arguments/choices.hpp"

namespace tool {

namespace {

const Choices<I3cPushPullRate> PUSH_PULL_RATES{{"12.5M", I3cPushPullRate::MHZ_12_5},
                                               {"8M", I3cPushPullRate::MHZ_8},
                                               {"6M", I3cPushPullRate::MHZ_6},
                                               {"4M", I3cPushPullRate::MHZ_4},
                                               {"2M", I3cPushPullRate::MHZ_2}};
const Choices<I3cOpenDrainTransferRate> OPEN_DRAIN_RATES{{"1M", I3cOpenDrainTransferRate::MHZ_1},
                                                         {"2M", I3cOpenDrainTransferRate::MHZ_2},
                                                         {"4M", I3cOpenDrainTransferRate::MHZ_4}};
const Choices<I2cTransferRate> I2C_RATES{
    {"100k", I2cTransferRate::KHZ_100}, {"400k", I2cTransferRate::KHZ_400}, {"1M", I2cTransferRate::MHZ_1}};
const Choices<I3cDriveStrength> STRENGTHS{
    {"low", I3cDriveStrength::LOW}, {"medium", I3cDriveStrength::MEDIUM}, {"high", I3cDriveStrength::HIGH}};

} // namespace

void addControllerOptions(CLI::App& app, ControllerOptions& options)
{
    addChoice(app, "--push-pull", options.pushPull, PUSH_PULL_RATES, "SDR clock");
    addChoice(app, "--open-drain", options.openDrain, OPEN_DRAIN_RATES, "Open-drain clock");
    addChoice(app, "--i2c-clock", options.i2c, I2C_RATES, "Legacy I2C clock");
    addChoice(app, "--drive", options.strength, STRENGTHS, "Pin drive strength");
}

void bringUp(Context& context, const ControllerOptions& options, const std::vector<I3cTargetInfo>& targets,
             Unassigned unassigned)
{
    const std::string settings =
        fmt::format("push-pull {}, open drain {}, I2C {}, drive {}", choiceName(PUSH_PULL_RATES, options.pushPull),
                    choiceName(OPEN_DRAIN_RATES, options.openDrain), choiceName(I2C_RATES, options.i2c),
                    choiceName(STRENGTHS, options.strength));
    context.setUp("I3C controller", settings, [&](TarvixSDK& sdk) {
        return sdk.i3cControllerInit(options.pushPull, options.openDrain, options.i2c, options.strength);
    });
    context.checkTransfer(context.sdk().i3cInitBus(targets), "bringing up the I3C bus",
                          "a target listed by static address did not answer: run 'tarvix i3c table' to see which did");
    context.note(fmt::format("brought up the I3C bus with {} listed targets", targets.size()));
    if (unassigned == Unassigned::GET_ADDRESSES) {
        const StatusCode status = context.sdk().i3cCccENTDAA();
        // Nobody is left who needs an address.
        if (!isStatus(status, DeviceStatus::NACK)) {
            context.check(status, "assigning dynamic addresses");
        }
        context.note("assigned dynamic addresses");
    }
}

void ensureI3cBus(Context& context, Unassigned unassigned)
{
    // Initialising a bus takes its addresses back, so the adapter is asked first whether that was done already.
    std::vector<I3cTargetInfo> table;
    const StatusCode status = context.sdk().i3cGetDeviceTable(table);
    if (isStatus(status, DeviceStatus::NOT_INITIALISED)) {
        bringUp(context, {}, {}, unassigned);
    } else {
        context.check(status, "reading the I3C device table");
        context.note(fmt::format("the I3C bus is up with {} targets", table.size()));
    }
}

} // namespace tool
