// Talks to every adapter at once, each from its own thread, whatever faults there are, and prints the statuses that it
// got: a line for each adapter, with "mixed" where another one's serial number came. A session that missed a response
// is opened anew, as after an unplug.
//
// Usage: statuses ADAPTERS COMMANDS TIMEOUT_MS
#include "tarvixsdk/sdk.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

bool reconnect(TarvixSDK& sdk, const std::string& serialNumber)
{
    sdk.disconnect();
    for (int tries = 0; tries < 4'000; ++tries) {
        if (sdk.connectWithSerialNumber(serialNumber)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

std::string converse(int adapter, int commands, int timeout)
{
    char serialNumber[16];
    std::snprintf(serialNumber, sizeof serialNumber, "TVX%07d", adapter + 1);
    TarvixSDK sdk(timeout);
    std::vector<std::uint8_t> data;
    auto level = GpioLogicLevel::LOW;
    const std::function<StatusCode()> rota[]{
        [&] { return sdk.i2cControllerInit(0, 400'000, 0); },
        [&] { return sdk.getUsbString(data, 3); },
        [&] { return sdk.i2cRead(0, 0x50, {0}, 100, data, false); },
        [&] { return sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level); },
    };
    std::string statuses;
    bool connected = reconnect(sdk, serialNumber);
    for (int command = 0; connected && command < commands; ++command) {
        const auto status = rota[command % 4]();
        char text[8];
        std::snprintf(text, sizeof text, "%04x ", static_cast<unsigned>(status));
        statuses += text;
        const std::string answer(data.begin(), data.end());
        // What a cut answer lacks reads as zeros.
        if (answer.starts_with("TVX") && answer.back() != '\0' && answer != serialNumber) {
            statuses += "mixed ";
        }
        connected = status != StatusCode::NO_RESPONSE || reconnect(sdk, serialNumber);
    }
    return statuses + (connected ? "" : "absent");
}

} // namespace

int main(int, char** arguments)
{
    std::vector<std::future<std::string>> lines;
    for (int adapter = 0; adapter < std::atoi(arguments[1]); ++adapter) {
        lines.push_back(
            std::async(std::launch::async, converse, adapter, std::atoi(arguments[2]), std::atoi(arguments[3])));
    }
    for (auto& line : lines) {
        std::puts(line.get().c_str());
    }
}
