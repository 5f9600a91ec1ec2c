#include <chrono>
#include <string>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "scenario.hpp"

namespace e2e {

namespace {

using Connect = bool (TarvixSDK::*)(const std::string&);
constexpr Connect BY_PATH = &TarvixSDK::connect;
constexpr Connect BY_SERIAL_NUMBER = &TarvixSDK::connectWithSerialNumber;

// The kernel would wait 5 s for a program behind /dev/uhid that says nothing.
void requireQuickRefusalOfFeatureReports(const std::string& path)
{
    char report[8] = "";
    const int node = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    const auto begin = std::chrono::steady_clock::now();
    require(node >= 0 && ::ioctl(node, HIDIOCGFEATURE(sizeof report), report) < 0, "there is a feature report");
    require(std::chrono::steady_clock::now() - begin < std::chrono::seconds(4), "nobody refuses a feature report");
    ::close(node);
}

// The serial number of the adapter that a session then has; empty when it has none.
std::string opened(Connect connect, const std::string& which)
{
    TarvixSDK sdk(TIMEOUT_MS);
    return (sdk.*connect)(which) ? serialNumberOf(sdk) : "";
}

const Scenario OPEN("open", [](Place place) {
    const VirtualCable cable(place);
    const std::string mine = place.serialNumber();
    require(opened(BY_PATH, "") == mine, "the only adapter is not the first");

    if (place.port == Port::UHID) {
        requireQuickRefusalOfFeatureReports(cable.node());
    }
    const VirtualCable otherCable(place.other());
    const std::string other = place.other().serialNumber();
    const std::string first = opened(BY_PATH, "");
    require(first == mine || first == other, "the first of two adapters is " + first);
    const struct {
        Connect connect;
        std::string which;
        std::string expected;
    } attempts[] = {
        {BY_PATH, cable.node(), mine},       {BY_SERIAL_NUMBER, mine, mine},   {BY_PATH, "/dev/hidraw99", ""},
        {BY_PATH, otherCable.node(), other}, {BY_SERIAL_NUMBER, other, other}, {BY_SERIAL_NUMBER, "TVX", ""},
    };
    for (const auto& [connect, which, expected] : attempts) {
        const std::string actual = opened(connect, which);
        require(actual == expected, which + " opens '" + actual + "', not '" + expected + '\'');
    }

    const Outcome list = run({"tarvix", "list"});
    require(list.exitStatus == 0 && list.output.find(mine) != std::string::npos &&
                list.output.find(other) != std::string::npos,
            "tarvix list: " + list.output);
    const Outcome info = run({"tarvix", "--adapter", mine, "info"});
    require(info.exitStatus == 0 && info.output.find("string 3:    " + mine) != std::string::npos &&
                info.output.find("string 5:    hardware virtual") != std::string::npos,
            "tarvix info: " + info.output);
});

} // namespace

} // namespace e2e
