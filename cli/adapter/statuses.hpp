// Names and advice for statuses.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tarvixsdk/types.h"

namespace tool {

// A status that the adapter itself answers. The firmware has the last word on the numbers; the virtual adapter uses
// exactly these.
struct DeviceStatusInfo {
    std::uint16_t number;
    std::string_view name;
    std::string_view advice;
};

// Null for a status that is not in the table.
const DeviceStatusInfo* findDeviceStatus(StatusCode status);

// Whether it is the adapter's status of this name.
bool isStatus(StatusCode status, std::string_view name);

// "NO_RESPONSE", "NACK", or "DEVICE_STATUS" for a number that has no name here.
std::string nameOf(StatusCode status);

} // namespace tool
