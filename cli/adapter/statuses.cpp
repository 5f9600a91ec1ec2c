#include "adapter/statuses.hpp"

#include <algorithm>
#include <array>

#include "tarvixsdk/adapters.hpp"

namespace tool {

namespace {

constexpr std::array DEVICE_STATUSES{
    DeviceStatusInfo{DeviceStatus::UNKNOWN_COMMAND, "UNKNOWN_COMMAND",
                     "the firmware does not know this command: update it"},
    DeviceStatusInfo{DeviceStatus::MALFORMED_FRAME, "MALFORMED_FRAME",
                     "the adapter could not parse the request: update its firmware or this program"},
    DeviceStatusInfo{DeviceStatus::BAD_PARAMETER, "BAD_PARAMETER",
                     "the adapter does not support one of the values: see the command's --help"},
    DeviceStatusInfo{DeviceStatus::BAD_BUS, "BAD_BUS", "the adapter has no such port: choose another"},
    DeviceStatusInfo{DeviceStatus::BAD_PIN, "BAD_PIN", "the adapter has no such pin: choose another"},
    DeviceStatusInfo{DeviceStatus::NOT_INITIALISED, "NOT_INITIALISED",
                     "initialise the bus first, for example with 'tarvix i3c init'"},
    DeviceStatusInfo{DeviceStatus::VOLTAGE_OUT_OF_RANGE, "VOLTAGE_OUT_OF_RANGE",
                     "the rail cannot produce this voltage: choose another"},
    DeviceStatusInfo{DeviceStatus::PIN_IS_INPUT, "PIN_IS_INPUT", "an input cannot be driven: make it an output first"},
    DeviceStatusInfo{DeviceStatus::NACK, "NACK",
                     "no target acknowledged: check the address, the wiring and 'tarvix rail show'"},
    DeviceStatusInfo{DeviceStatus::ADDRESS_IN_USE, "ADDRESS_IN_USE",
                     "another target or group has this address: choose another"},
    DeviceStatusInfo{DeviceStatus::UNKNOWN_TARGET, "UNKNOWN_TARGET",
                     "the adapter knows no such target: see 'tarvix i3c table'"},
    DeviceStatusInfo{DeviceStatus::BUS_STUCK, "BUS_STUCK",
                     "SDA or SCL is held low: check the wiring, or power-cycle or reset the devices"},
};

} // namespace

const DeviceStatusInfo* findDeviceStatus(StatusCode status)
{
    const auto* const found = std::find_if(DEVICE_STATUSES.begin(), DEVICE_STATUSES.end(),
                                           [&](const DeviceStatusInfo& info) { return isStatus(status, info.status); });
    return found == DEVICE_STATUSES.end() ? nullptr : found;
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
