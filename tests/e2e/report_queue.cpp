#include <algorithm>
#include <cstdio>
#include <future>
#include <memory>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include <tarvixsdk/async_sdk.hpp>

#include "scenario.hpp"
#include "support/received.hpp"

namespace e2e {

namespace {

// Lets `segments` reports of one response arrive while the library's reader is held in a handler. Returns whether it
// then received that response.
bool survivesPause(const VirtualCable& cable, const Place& place, std::size_t segments)
{
    Received<std::size_t> lengths; // of the frames
    TarvixAsyncSDK sdk;
    std::promise<void> release; // the first to go when a check fails, and so lets the reader go
    sdk.onResponse([&lengths, released = release.get_future().share()](const Bytes& frame) {
        lengths.add(frame.size());
        released.wait();
    });
    require(sdk.connectWithSerialNumber(place.serialNumber()), "cannot open the adapter");

    // The node's reports, read beside the library: the kernel keeps them for each of its readers apart. It drops those
    // that this one is too slow for, too, so silence ends the wait as well.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(cable.node().c_str(), "rb"), std::fclose);
    require(file != nullptr, "cannot open the node");
    const int node = ::fileno(file.get());
    const auto see = [&](std::size_t reports) {
        constexpr int SILENCE_MS = 2000;
        std::string report(place.reportSize, '\0');
        for (pollfd readable{node, POLLIN, 0}; reports > 0 && ::poll(&readable, 1, SILENCE_MS) > 0; --reports) {
            require(::read(node, report.data(), report.size()) > 0, "cannot read the node");
        }
    };

    sdk.i2cControllerInit(1, EEPROM_BUS, 400'000, 0); // whose response occupies the handler
    see(1);
    require(lengths.atLeast(1).size() == 1, "the handler is not called");
    constexpr std::size_t RESPONSE_HEADER = 9;
    const std::size_t length = segments * (place.reportSize - 2);
    sdk.i2cRead(2, EEPROM_BUS, EEPROM, eepromAddress(0), static_cast<std::uint16_t>(length - RESPONSE_HEADER), false);
    see(segments);
    release.set_value();
    const auto isIn = [&](std::size_t wanted) {
        const std::vector<std::size_t> received = lengths.atLeast(0);
        return std::find(received.begin(), received.end(), wanted) != received.end();
    };
    constexpr std::size_t READ_BACK = 5; // a short response behind: the session is in step again
    eventually("a response behind the long one", [&] {
        sdk.i2cRead(3, EEPROM_BUS, EEPROM, eepromAddress(0), READ_BACK, false);
        return isIn(RESPONSE_HEADER + READ_BACK);
    });
    return isIn(length);
}

// The kernel keeps 63 reports for a reader that is busy, whatever their size, and drops the newest beyond.
const Scenario QUEUE("queue", [](Place place) {
    const VirtualCable cable(place);
    require(survivesPause(cable, place, 63), "63 segments did not survive a busy reader");
    require(!survivesPause(cable, place, 64),
            "64 segments survived a busy reader: the limit in docs/machine-test.md has changed");
});

} // namespace

} // namespace e2e
