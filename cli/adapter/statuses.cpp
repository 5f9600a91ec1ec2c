#include "adapter/statuses.hpp"

#include <algorithm>
#include <array>

#include "tarvixsdk/adapters.hpp"

namespace tool {

namespace {

constexpr std::array DEVICE_STATUSES{
    DeviceStatusInfo{0x0101, "UNKNOWN_COMMAND", "the firmware does not know this command: update it"},
    DeviceStatusInfo{0x0102, "MALFORMED_FRAME", "the adapter could not parse the request: run 'tarvix doctor'"},
    DeviceStatusInfo{0x0103, "BAD_PARAMETER",
                     "the adapter does not support one of the values: see the command's --help"},
    DeviceStatusInfo{0x0104, "BAD_BUS", "the adapter has no such port: choose another"},
    DeviceStatusInfo{0x0105, "BAD_PIN", "the adapter has no such pin: choose another"},
    DeviceStatusInfo{0x0106, "NOT_INITIALISED", "initialise the bus first, for example with 'tarvix i3c init'"},
    DeviceStatusInfo{0x0201, "VOLTAGE_OUT_OF_RANGE", "the rail cannot produce this voltage: choose another"},
    DeviceStatusInfo{0x0202, "PIN_IS_INPUT", "an input cannot be driven: make it an output first"},
    DeviceStatusInfo{0x0301, "NACK", "no target acknowledged: check the address, the wiring and 'tarvix rail show'"},
    DeviceStatusInfo{0x0302, "ADDRESS_IN_USE", "another target or group has this address: choose another"},
    DeviceStatusInfo{0x0303, "UNKNOWN_TARGET", "the adapter knows no such target: see 'tarvix i3c table'"},
};

} // namespace

const DeviceStatusInfo* findDeviceStatus(StatusCode status)
{
    const auto* const found =
        std::find_if(DEVICE_STATUSES.begin(), DEVICE_STATUSES.end(),
                     [&](const DeviceStatusInfo& info) { return info.number == static_cast<std::uint16_t>(status); });
    return found == DEVICE_STATUSES.end() ? nullptr : found;
}

bool isStatus(StatusCode status, std::string_view name)
{
    const DeviceStatusInfo* const info = findDeviceStatus(status);
    return info != nullptr && info->name == name;
}

std::string nameOf(StatusCode status)
{
    if (const char* const name = statusName(status)) {
        return name;
    }
    const DeviceStatusInfo* const info = findDeviceStatus(status);
    return info != nullptr ? std::string(info->name) : "DEVICE_STATUS";
}

} // namespace tool
