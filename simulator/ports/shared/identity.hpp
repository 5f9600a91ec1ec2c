// What an adapter says of itself on USB.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace sim {

struct UsbIdentity {
    std::string serialNumber;
    std::size_t reportSize; // 64 or 1024
    std::string manufacturer;
    std::string product;
};

inline constexpr std::uint16_t VENDOR_ID = 0x1FC9;
inline constexpr std::uint16_t RELEASE_NUMBER = 0x0100; // binary-coded decimal
inline constexpr std::uint16_t USAGE_PAGE = 0xFF00;     // vendor-defined
inline constexpr std::uint16_t USAGE = 0x0001;

// The name of the HID device, as the kernel joins the strings of the USB device.
inline std::string hidName(const std::string& manufacturer, const std::string& product)
{
    return manufacturer + ' ' + product;
}

inline std::string physicalPath(const std::string& serialNumber)
{
    return "tarvix-sim/" + serialNumber;
}

constexpr std::uint16_t productId(std::size_t reportSize)
{
    return reportSize == 1024 ? 0x82FD : 0x82FC;
}

// One input and one output report of `reportSize` bytes, neither numbered.
constexpr std::array<std::uint8_t, 26> reportDescriptor(std::size_t reportSize)
{
    const auto low = static_cast<std::uint8_t>(reportSize & 0xFF);
    const auto high = static_cast<std::uint8_t>(reportSize >> 8);
    return {
        0x06, 0x00, 0xFF, // usage page: vendor-defined
        0x09, 0x01,       // usage 1
        0xA1, 0x01,       // collection: application
        0x15, 0x00,       //   logical minimum 0
        0x26, 0xFF, 0x00, //   logical maximum 255
        0x75, 0x08,       //   8 bits each
        0x96, low,  high, //   as many as the report is long
        0x09, 0x01,       //   usage 1
        0x81, 0x02,       //   input: data, variable, absolute
        0x09, 0x01,       //   usage 1
        0x91, 0x02,       //   output: data, variable, absolute
        0xC0,             // end of the collection
    };
}

} // namespace sim
