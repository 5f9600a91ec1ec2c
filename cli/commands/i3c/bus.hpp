// The I3C bus as commands find it.
#pragma once

#include <vector>

#include "adapter/context.hpp"
#include "arguments/options.hpp"

namespace tool {

// The defaults suit all targets, also those with a speed limit, and wires on a bench.
struct ControllerOptions {
    I3cPushPullRate pushPull = I3cPushPullRate::MHZ_4;
    I3cOpenDrainTransferRate openDrain = I3cOpenDrainTransferRate::MHZ_1;
    I2cTransferRate i2c = I2cTransferRate::KHZ_400;
    I3cDriveStrength strength = I3cDriveStrength::MEDIUM;
};

void addControllerOptions(CLI::App& app, ControllerOptions& options);

// What happens to targets without an address when a bus has to be brought up.
enum class Unassigned { STAY, GET_ADDRESSES };

void bringUp(Context& context, const ControllerOptions& options, const std::vector<I3cTargetInfo>& targets,
             Unassigned unassigned);

// A bus that is up stays as it is, addresses included. One that is not is brought up with the default settings.
void ensureI3cBus(Context& context, Unassigned unassigned);

} // namespace tool
