// Where the devices of an adapter would be in sysfs, below the private directory of `tarvix-sim run`.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "ports/shared/identity.hpp"

namespace sim {

// Each is the parent of the next.
enum class SysDevice { USB_DEVICE, USB_INTERFACE, HID, HIDRAW };

// Of the adapter whose node has this number.
inline std::string sysName(SysDevice device, unsigned number, std::uint16_t productId)
{
    std::array<char, 32> name{};
    switch (device) {
    case SysDevice::USB_DEVICE:
        std::snprintf(name.data(), name.size(), "1-%u", number + 1);
        break;
    case SysDevice::USB_INTERFACE:
        std::snprintf(name.data(), name.size(), "1-%u:1.0", number + 1);
        break;
    case SysDevice::HID:
        std::snprintf(name.data(), name.size(), "0003:%04X:%04X.%04X", VENDOR_ID, productId, number + 1);
        break;
    case SysDevice::HIDRAW:
        std::snprintf(name.data(), name.size(), "hidraw%u", number);
        break;
    }
    return name.data();
}

inline std::string sysPath(std::string_view directory, SysDevice device, unsigned number, std::uint16_t productId)
{
    if (device == SysDevice::USB_DEVICE) {
        return std::string(directory) + "/sys/" + sysName(device, number, productId);
    }
    const auto parent = SysDevice{static_cast<int>(device) - 1};
    return sysPath(directory, parent, number, productId) + (device == SysDevice::HIDRAW ? "/hidraw/" : "/") +
           sysName(device, number, productId);
}

// The kernel's description of the HID device: NAME=VALUE, a line each.
inline std::string hidUevent(std::uint16_t productId, const std::string& name, const std::string& serialNumber)
{
    std::array<char, 32> id{};
    std::snprintf(id.data(), id.size(), "0003:%08X:%08X", VENDOR_ID, productId);
    return "DRIVER=hid-generic\nHID_ID=" + std::string(id.data()) + "\nHID_NAME=" + name +
           "\nHID_PHYS=" + physicalPath(serialNumber) + "\nHID_UNIQ=" + serialNumber + '\n';
}

} // namespace sim
