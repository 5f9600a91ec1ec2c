// Opens an adapter (the first, or the one whose serial number is given) and prints what it says of itself.
#include <cstdio>
#include <exception>

#include <tarvixsdk/sdk.hpp>

int main(int argc, char** argv)
try {
    const std::string serialNumber = argc > 1 ? argv[1] : "";
    TarvixSDK adapter(1000);
    if (!adapter.connectWithSerialNumber(serialNumber)) {
        std::fprintf(stderr, "no adapter %s could be opened: is it plugged in, and may you use its hidraw node?\n",
                     serialNumber.c_str());
        return 1;
    }
    TarvixSDK::DeviceInfo info;
    const StatusCode status = adapter.getDeviceInfo(info);
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "the adapter did not tell its strings: status 0x%04x\n", static_cast<unsigned>(status));
        return 1;
    }
    std::printf("library %s\n", TarvixSDK::getVersion().c_str());
    for (const auto& string : {info.usbString1, info.usbString2, info.usbString3, info.usbString4, info.usbString5}) {
        std::printf("  %s\n", string.c_str());
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
