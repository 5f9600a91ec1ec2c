// How a command is refused: by throwing a `Refusal`, which the dispatcher turns into the status of the response.
#pragma once

#include <cstdint>

#include "model/device_status.hpp"

namespace sim {

struct Refusal {
    DeviceStatus status;
};

[[noreturn]] inline void refuse(DeviceStatus status)
{
    throw Refusal{status};
}

inline void require(bool condition, DeviceStatus otherwise)
{
    if (!condition) {
        refuse(otherwise);
    }
}

// Turns a byte into a member of an enumeration whose members are numbered from 0 to `last`.
template <auto last>
decltype(last) upTo(std::uint8_t value, DeviceStatus otherwise = DeviceStatus::BAD_PARAMETER)
{
    require(value <= static_cast<std::uint32_t>(last), otherwise);
    return static_cast<decltype(last)>(value);
}

inline bool asFlag(std::uint8_t value)
{
    require(value <= 1, DeviceStatus::BAD_PARAMETER);
    return value == 1;
}

inline std::uint8_t asSevenBitAddress(std::uint8_t value)
{
    require(value <= 0x7F, DeviceStatus::BAD_PARAMETER);
    return value;
}

} // namespace sim
