#include "adapter/statuses.hpp"

#include <algorithm>
#include <array>

namespace tool {

namespace {

constexpr std::array DEVICE_STATUSES{
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
    switch (status) {
    case StatusCode::SUCCESS:
        return "SUCCESS";
    case StatusCode::NO_RESPONSE:
        return "NO_RESPONSE";
    case StatusCode::NOT_CONNECTED:
        return "NOT_CONNECTED";
    case StatusCode::UNEXPECTED_RESPONSE:
        return "UNEXPECTED_RESPONSE";
    case StatusCode::INVALID_ARGUMENT:
        return "INVALID_ARGUMENT";
    case StatusCode::RESPONSE_TOO_SHORT:
        return "RESPONSE_TOO_SHORT";
    case StatusCode::ADAPTER_LOST:
        return "ADAPTER_LOST";
    }
    const DeviceStatusInfo* const info = findDeviceStatus(status);
    return info != nullptr ? std::string(info->name) : "DEVICE_STATUS";
}

} // namespace tool
