// Names and advice for the statuses that the adapter itself answers. The firmware has the last word on the numbers;
// the virtual adapter uses exactly these.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "tarvixsdk/types.h"

namespace tool {

struct DeviceStatusInfo {
    std::uint16_t number;
    std::string_view name;
    std::string_view advice;
};

inline constexpr std::array DEVICE_STATUSES{
    DeviceStatusInfo{0x0101, "UNKNOWN_COMMAND", "the adapter's firmware does not know this command: update it"},
    DeviceStatusInfo{0x0102, "MALFORMED_FRAME", "the adapter did not understand: run 'tarvix doctor'"},
    DeviceStatusInfo{0x0103, "BAD_PARAMETER", "the adapter does not take one of the values: see the command's --help"},
    DeviceStatusInfo{0x0104, "BAD_BUS", "the adapter has no such port: choose another"},
    DeviceStatusInfo{0x0105, "BAD_PIN", "the adapter has no such pin: choose another"},
    DeviceStatusInfo{0x0106, "NOT_INITIALISED", "initialise the bus first, such as with 'tarvix i3c init'"},
    DeviceStatusInfo{0x0201, "VOLTAGE_OUT_OF_RANGE", "the rail cannot produce this voltage: choose another"},
    DeviceStatusInfo{0x0202, "PIN_IS_INPUT", "an input cannot be driven: make it an output first"},
    DeviceStatusInfo{0x0301, "NACK", "nobody acknowledged: check the address, the wiring and 'tarvix rail show'"},
    DeviceStatusInfo{0x0302, "ADDRESS_IN_USE", "another target or group has this address: choose another"},
    DeviceStatusInfo{0x0303, "UNKNOWN_TARGET", "the adapter knows no such target: see 'tarvix i3c table'"},
};

// Null for a status that is not in the table.
inline const DeviceStatusInfo* findDeviceStatus(StatusCode status)
{
    const auto* const found =
        std::find_if(DEVICE_STATUSES.begin(), DEVICE_STATUSES.end(),
                     [&](const DeviceStatusInfo& info) { return info.number == static_cast<std::uint16_t>(status); });
    return found == DEVICE_STATUSES.end() ? nullptr : found;
}

} // namespace tool
