#include "scenarios.hpp"

#include <functional>
#include <string>

#include <tarvixsdk/sdk.hpp>

#include "session.hpp"
#include "waiting.hpp"

namespace e2e {

namespace {

std::string openedBy(const std::function<bool(TarvixSDK&)>& connect)
{
    TarvixSDK sdk(TIMEOUT_MS);
    return connect(sdk) ? serialNumberOf(sdk) : "";
}

} // namespace

void choose(Place place)
{
    const VirtualCable cable(place);
    const std::string mine = place.serialNumber();
    const auto first = [](TarvixSDK& sdk) { return sdk.connect(""); };
    require(openedBy(first) == mine, "the only adapter is not the first");

    const VirtualCable otherCable(place.other());
    const std::string other = place.other().serialNumber();
    const std::string opened = openedBy(first);
    require(opened == mine || opened == other, "the first of two adapters is " + opened);
    for (const VirtualCable* const each : {&cable, &otherCable}) {
        const std::string serialNumber = each->place().serialNumber();
        const std::string node = each->node();
        require(openedBy([&](TarvixSDK& sdk) { return sdk.connect(node); }) == serialNumber,
                "wrong adapter at " + node);
        require(openedBy([&](TarvixSDK& sdk) { return sdk.connectWithSerialNumber(serialNumber); }) == serialNumber,
                "wrong adapter for serial number " + serialNumber);
    }
    require(openedBy([](TarvixSDK& sdk) { return sdk.connect("/dev/hidraw99"); }).empty(), "a wrong path opens");
    require(openedBy([](TarvixSDK& sdk) { return sdk.connectWithSerialNumber("TVX"); }).empty(),
            "the beginning of a serial number opens");

    const Outcome list = run({"tarvix", "list"});
    require(list.exitStatus == 0 && list.output.find(mine) != std::string::npos &&
                list.output.find(other) != std::string::npos,
            "tarvix list: " + list.output);
}

void info(Place place)
{
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    open(sdk, place.serialNumber());
    TarvixSDK::DeviceInfo device;
    succeed(sdk.getDeviceInfo(device), "getDeviceInfo");
    require(device.usbString1 == "Tarvix" && device.usbString2 == "Tarvix Virtual Adapter" &&
                device.usbString3 == place.serialNumber() && device.usbString4 == "firmware 1.0.0" &&
                device.usbString5 == "hardware virtual",
            "getDeviceInfo: " + device.usbString1 + ", " + device.usbString2 + ", " + device.usbString3 + ", " +
                device.usbString4 + ", " + device.usbString5);
    sdk.disconnect();

    const Outcome tool = run({"tarvix", "--adapter", place.serialNumber(), "info"});
    require(tool.exitStatus == 0 && tool.output.find("firmware 1.0.0") != std::string::npos,
            "tarvix info: " + tool.output);
}

} // namespace e2e
