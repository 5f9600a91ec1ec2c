#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "flat/call.hpp"
#include "tarvixsdk/flat.h"
#include "tarvixsdk/sdk.hpp"

namespace {

// A string of the class's record, and where it goes in the flat one.
struct DeviceInfoField {
    std::string TarvixSDK::DeviceInfo::*source;
    char* TarvixSDK_DeviceInfo::*text;
    std::size_t TarvixSDK_DeviceInfo::*length;
};

constexpr std::array DEVICE_INFO_FIELDS{
    DeviceInfoField{&TarvixSDK::DeviceInfo::usbString1, &TarvixSDK_DeviceInfo::usbString1,
                    &TarvixSDK_DeviceInfo::usbString1Length},
    DeviceInfoField{&TarvixSDK::DeviceInfo::usbString2, &TarvixSDK_DeviceInfo::usbString2,
                    &TarvixSDK_DeviceInfo::usbString2Length},
    DeviceInfoField{&TarvixSDK::DeviceInfo::usbString3, &TarvixSDK_DeviceInfo::usbString3,
                    &TarvixSDK_DeviceInfo::usbString3Length},
    DeviceInfoField{&TarvixSDK::DeviceInfo::usbString4, &TarvixSDK_DeviceInfo::usbString4,
                    &TarvixSDK_DeviceInfo::usbString4Length},
    DeviceInfoField{&TarvixSDK::DeviceInfo::usbString5, &TarvixSDK_DeviceInfo::usbString5,
                    &TarvixSDK_DeviceInfo::usbString5Length},
};

// Allocated by malloc, so that a caller in any language can free them.
TarvixSDK_DeviceInfo copyOf(const TarvixSDK::DeviceInfo& info)
{
    TarvixSDK_DeviceInfo copy{};
    for (const DeviceInfoField& field : DEVICE_INFO_FIELDS) {
        const std::string& string = info.*field.source;
        auto* const text = static_cast<char*>(std::malloc(string.size() + 1));
        if (text == nullptr) {
            TarvixSDK_FreeDeviceInfo(&copy);
            throw std::bad_alloc();
        }
        std::memcpy(text, string.c_str(), string.size() + 1);
        copy.*field.text = text;
        copy.*field.length = string.size();
    }
    return copy;
}

} // namespace

StatusCode TarvixSDK_ResetDevice(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::resetDevice);
}

StatusCode TarvixSDK_EnterBootMode(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::enterBootMode);
}

StatusCode TarvixSDK_GetDeviceInfo(TarvixSDK_Handle* handle, TarvixSDK_DeviceInfo* info)
{
    return call(handle, info != nullptr, [&](TarvixSDK& sdk) {
        TarvixSDK::DeviceInfo strings;
        const StatusCode status = sdk.getDeviceInfo(strings);
        if (status == StatusCode::SUCCESS) {
            *info = copyOf(strings);
        }
        return status;
    });
}

StatusCode TarvixSDK_GetUsbString(TarvixSDK_Handle* handle, std::uint8_t index, std::uint8_t* string,
                                  std::size_t capacity, std::size_t* length)
{
    return call(handle, length != nullptr && isArray(string, capacity), [&](TarvixSDK& sdk) {
        Bytes read;
        const StatusCode status = sdk.getUsbString(read, index);
        if (status != StatusCode::SUCCESS) {
            return status;
        }
        *length = read.size();
        return read.size() > capacity ? StatusCode::INVALID_ARGUMENT : deliver(status, read, string);
    });
}

void TarvixSDK_FreeDeviceInfo(TarvixSDK_DeviceInfo* info)
{
    if (info == nullptr) {
        return;
    }
    for (const DeviceInfoField& field : DEVICE_INFO_FIELDS) {
        std::free(info->*field.text);
    }
    *info = {};
}
