// Prints what the adapter says about itself, and the voltages of its rails.
#include "bench.hpp"

int main(int argc, char** argv)
{
    return run(argc, argv, [](TarvixSDK& adapter) {
        TarvixSDK::DeviceInfo info;
        check(adapter.getDeviceInfo(info), "reading the strings");
        std::uint16_t shared = 0;
        std::uint16_t i3c[2]{};
        check(adapter.gpioGetVoltage(shared), "reading the shared rail");
        check(adapter.i3cGetBusVoltage(i3c[0], i3c[1]), "reading the I3C rail");

        std::printf("library %s\n", TarvixSDK::getVersion().c_str());
        for (const std::string& string :
             {info.usbString1, info.usbString2, info.usbString3, info.usbString4, info.usbString5}) {
            std::printf("  %s\n", string.c_str());
        }
        std::printf("shared rail %u, I3C rail %u and %u\n", shared, i3c[0], i3c[1]);
    });
}
