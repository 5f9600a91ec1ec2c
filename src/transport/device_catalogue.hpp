// The adapters that the library knows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct DeviceKind {
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::size_t reportSize; // bytes of one input or output report, not counting the report ID
};

inline constexpr std::array DEVICE_CATALOGUE{
    DeviceKind{0x1FC9, 0x82FC, 64},
    DeviceKind{0x1FC9, 0x82FD, 1024},
};
