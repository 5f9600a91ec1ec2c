// I3C targets on the command line and in the table.
#pragma once

#include <string>
#include <vector>

#include "tarvixsdk/types.h"

namespace tool {

// STATIC=DYNAMIC, PID=DYNAMIC, or the address of a legacy I2C device. Throws UsageError.
I3cTargetInfo parseTarget(const std::string& text);

std::string tableText(const std::vector<I3cTargetInfo>& table);

} // namespace tool
