// Names and advice for statuses.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tarvixsdk/types.h"

namespace tool {

// Statuses that the adapter itself answers. The firmware has the last word on the numbers; the virtual adapter uses
// exactly these.
enum class DeviceStatus : std::uint16_t {
    UNKNOWN_COMMAND = 0x0101,
    MALFORMED_FRAME = 0x0102,
    BAD_PARAMETER = 0x0103,
    BAD_BUS = 0x0104,
    BAD_PIN = 0x0105,
    NOT_INITIALISED = 0x0106,
    VOLTAGE_OUT_OF_RANGE = 0x0201,
    PIN_IS_INPUT = 0x0202,
    NACK = 0x0301,
    ADDRESS_IN_USE = 0x0302,
    UNKNOWN_TARGET = 0x0303,
    BUS_STUCK = 0x0304,
};

struct DeviceStatusInfo {
    DeviceStatus status;
    std::string_view name;
    std::string_view advice;
};

// Null for a status that is not in the table.
const DeviceStatusInfo* findDeviceStatus(StatusCode status);

inline bool isStatus(StatusCode status, DeviceStatus wanted)
{
    return static_cast<std::uint16_t>(status) == static_cast<std::uint16_t>(wanted);
}

// "NO_RESPONSE", "NACK", or "DEVICE_STATUS" for a number that has no name here.
std::string nameOf(StatusCode status);

} // namespace tool
