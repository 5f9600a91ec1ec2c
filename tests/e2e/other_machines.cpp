// An adapter on another machine, by the kernel's USB/IP: exported here and imported again over the loopback interface.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "scenario.hpp"

namespace e2e {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr int PATIENCE_MS = 12'000; // of commands that a pause of the network may delay

void mustRun(const std::vector<std::string>& command)
{
    const Outcome outcome = run(command);
    require(outcome.exitStatus == 0, command.front() + " " + command[1] + ": " + outcome.output);
}

void network(const std::string& upOrDown)
{
    mustRun({"ifconfig", "lo", upOrDown});
}

// How often the kernel sends again before it gives a connection up; each time it waits twice as long.
void giveUpAfter(int retries)
{
    require((std::ofstream("/proc/sys/net/ipv4/tcp_retries2") << retries << std::flush).good(),
            "cannot set tcp_retries2");
}

// What USB/IP calls the device of this place: "1-1".
std::string busIdOf(const Place& place)
{
    for (const auto& entry : fs::directory_iterator("/sys/bus/usb/devices")) {
        const bool imported = fs::canonical(entry.path()).string().find("vhci_hcd") != std::string::npos;
        if (!imported && contentsOf(entry.path() / "serial") == place.serialNumber() + '\n') {
            return entry.path().filename();
        }
    }
    return "";
}

// One adapter offered to other machines.
class Exported {
public:
    explicit Exported(const Place& place) : busId_(busIdOf(place))
    {
        require(!busId_.empty(), "the adapter is no USB device");
        eventually("usbipd listens", [] { return run({"usbip", "list", "-r", "127.0.0.1"}).exitStatus == 0; });
        offer();
    }
    ~Exported() { run({"usbip", "unbind", "-b", busId_}); }
    Exported(const Exported&) = delete;
    Exported& operator=(const Exported&) = delete;

    void offer() const { mustRun({"usbip", "bind", "-b", busId_}); }
    void withdraw() const { mustRun({"usbip", "unbind", "-b", busId_}); }
    void attach() const { mustRun({"usbip", "attach", "-r", "127.0.0.1", "-b", busId_}); }

private:
    Child daemon_{[]() -> int {
        redirectOutput("/tmp/usbipd.log");
        execute({"usbipd"});
    }};
    std::string busId_;
};

bool isImported(const VirtualCable& cable)
{
    const std::string node = cable.node();
    return !node.empty() &&
           fs::canonical("/sys/class/hidraw/" + fs::path(node).filename().string()).string().find("vhci_hcd") !=
               std::string::npos;
}

double commandsPerSecond(TarvixSDK& sdk)
{
    constexpr auto LENGTH = 1s;
    GpioLogicLevel level{};
    int count = 0;
    const auto begin = Clock::now();
    for (; Clock::now() - begin < LENGTH; ++count) {
        succeed(sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level), "gpioDigitalRead");
    }
    return count / std::chrono::duration<double>(Clock::now() - begin).count();
}

// As many segments each way as a few seconds carry.
void moveLongFrames(TarvixSDK& sdk, const Place& place)
{
    succeed(sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                  SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 10'000'000),
            "spiControllerInit");
    const std::size_t longest = place.reportSize == 64 ? 8'192 : 65'535;
    for (const std::size_t size : {std::size_t{1}, longest}) {
        Bytes sent = pattern(size);
        Bytes received;
        succeed(sdk.spiTransfer(sent, received, static_cast<std::uint16_t>(size)), "spiTransfer");
        requireEqual(received, sent, "SPI over USB/IP");
    }
}

// Commands without a pause until one fails; that one's status.
StatusCode useUntilItEnds(TarvixSDK& sdk)
{
    GpioLogicLevel level{};
    StatusCode status = StatusCode::SUCCESS;
    while (status == StatusCode::SUCCESS) {
        status = sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level);
    }
    return status;
}

// Runs `cut` under load and says how the session ended, and when.
void cutUnderLoad(TarvixSDK& sdk, const std::string& what, const std::function<void()>& cut)
{
    auto load = std::async(std::launch::async, [&sdk] { return useUntilItEnds(sdk); });
    require(load.wait_for(300ms) == std::future_status::timeout, "commands fail over USB/IP");
    const auto begin = Clock::now();
    cut();
    require(load.wait_for(PATIENCE_MS * 1ms + 5s) == std::future_status::ready, what + ": a command hangs");
    const StatusCode status = load.get();
    std::printf("  %s: %s after %.1f s\n", what.c_str(), statusName(status),
                std::chrono::duration<double>(Clock::now() - begin).count());
    require(status == StatusCode::ADAPTER_LOST || status == StatusCode::NO_RESPONSE,
            what + ": a command ended with " + hex(status));
    sdk.disconnect();
}

const Scenario USBIP("usbip", [](Place place) {
    if (place.port == Port::UHID) {
        std::printf("  no USB device\n");
        return;
    }
    const VirtualCable cable(place);
    TarvixSDK sdk(PATIENCE_MS);
    openStrict(sdk, place);
    const double direct = commandsPerSecond(sdk);
    sdk.disconnect();

    network("up");
    giveUpAfter(15);
    const Exported exported(place);
    const auto import = [&] {
        exported.attach();
        eventually("the imported adapter has a node", [&] { return isImported(cable); });
        openStrict(sdk, place);
    };
    import();
    require(serialNumberOf(sdk) == place.serialNumber(), "the imported adapter is another");
    std::printf("  commands a second: %.0f direct, %.0f over USB/IP\n", direct, commandsPerSecond(sdk));
    moveLongFrames(sdk, place);

    auto meanwhile = std::async(std::launch::async, [&] { moveLongFrames(sdk, place); });
    network("down");
    std::this_thread::sleep_for(2s);
    network("up");
    meanwhile.get(); // a pause of the network loses nothing

    cutUnderLoad(sdk, "withdrawn by the other machine", [&] { exported.withdraw(); });
    exported.offer();
    import();
    cutUnderLoad(sdk, "detached while the network was away", [] {
        network("down");
        std::this_thread::sleep_for(1s);
        mustRun({"usbip", "detach", "-p", "0"});
    });
    network("up");
    exported.withdraw();
    exported.offer();
    import();
    cutUnderLoad(sdk, "without the network", [] {
        giveUpAfter(3);
        network("down");
    });
    network("up");
    exported.withdraw();
    exported.offer();
    import();
    require(serialNumberOf(sdk) == place.serialNumber(), "the adapter does not come back");
});

} // namespace

} // namespace e2e
