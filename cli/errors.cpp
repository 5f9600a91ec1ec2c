#include "errors.hpp"

#include "device_status.hpp"

namespace tool {

std::string statusName(StatusCode status)
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
    }
    const DeviceStatusInfo* const info = findDeviceStatus(status);
    return info != nullptr ? std::string(info->name) : "DEVICE_STATUS";
}

} // namespace tool
