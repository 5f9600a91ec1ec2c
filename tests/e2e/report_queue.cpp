#include "scenarios.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <tarvixsdk/async_sdk.hpp>

#include "session.hpp"
#include "waiting.hpp"

namespace e2e {

namespace {

// The reports of a hidraw node, read beside the library. The kernel keeps them for each of its readers apart.
class Witness {
public:
    explicit Witness(const VirtualCable& cable)
        : reportSize_(cable.place().reportSize), node_(::open(cable.node().c_str(), O_RDONLY | O_CLOEXEC))
    {
        require(node_ >= 0, "cannot open the node a second time");
    }
    ~Witness() { ::close(node_); }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

    void see(std::size_t reports)
    {
        Bytes report(reportSize_);
        for (; reports > 0; --reports) {
            require(::read(node_, report.data(), report.size()) > 0, "cannot read the node");
        }
    }

private:
    std::size_t reportSize_;
    int node_;
};

// A handler that can be held in the middle of a call.
class Gate {
public:
    void pass()
    {
        std::unique_lock lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
    }
    void set(bool open)
    {
        const std::lock_guard lock(mutex_);
        open_ = open;
        changed_.notify_all();
    }
    bool isTaken()
    {
        const std::lock_guard lock(mutex_);
        return arrived_ > 0;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
    int arrived_ = 0;
};

// Lets `segments` reports of one response arrive while the library's reader is held in a handler. Returns how long the
// frames were that it then received.
std::vector<std::size_t> receivedAfterPause(const VirtualCable& cable, std::size_t segments)
{
    Gate gate;
    std::mutex mutex;
    std::vector<std::size_t> lengths;
    TarvixAsyncSDK sdk;
    require(sdk.connectWithSerialNumber(cable.place().serialNumber()), "cannot open the adapter");
    Witness witness(cable);
    sdk.onResponse([&](const Bytes& frame) {
        gate.pass();
        const std::lock_guard lock(mutex);
        lengths.push_back(frame.size());
    });

    sdk.i2cControllerInit(1, EEPROM_BUS, 400'000, 0); // whose response occupies the handler
    witness.see(1);
    eventually("the handler is called", [&] { return gate.isTaken(); });
    constexpr std::size_t RESPONSE_HEADER = 9;
    const std::size_t capacity = cable.place().reportSize - 2;
    sdk.i2cRead(2, EEPROM_BUS, EEPROM, eepromAddress(0),
                static_cast<std::uint16_t>(segments * capacity - RESPONSE_HEADER), false);
    witness.see(segments);
    gate.set(true);
    const auto isIn = [&](std::size_t length) {
        const std::lock_guard lock(mutex);
        return std::find(lengths.begin(), lengths.end(), length) != lengths.end();
    };
    constexpr std::size_t READ_BACK = 5; // a short response behind: the session is in step again
    eventually("a response behind the long one", [&] {
        sdk.i2cRead(3, EEPROM_BUS, EEPROM, eepromAddress(0), READ_BACK, false);
        return isIn(RESPONSE_HEADER + READ_BACK);
    });
    sdk.disconnect();
    return lengths;
}

} // namespace

// The kernel keeps 63 reports for a reader that is busy, whatever their size, and drops the newest beyond.
void queue(Place place)
{
    constexpr std::size_t KEPT = 63;
    const VirtualCable cable(place);
    const auto holds = [&](const std::vector<std::size_t>& lengths, std::size_t segments) {
        return std::find(lengths.begin(), lengths.end(), segments * (place.reportSize - 2)) != lengths.end();
    };
    require(holds(receivedAfterPause(cable, KEPT), KEPT), "63 segments did not survive a busy reader");
    require(!holds(receivedAfterPause(cable, KEPT + 1), KEPT + 1),
            "64 segments survived a busy reader: the limit in docs/machine-test.md has changed");
}

} // namespace e2e
