// Talks to every adapter at once, each from its own thread, whatever faults there are, and prints the statuses that it
// got: a line for each adapter. A session that missed a response is opened anew, as after an unplug.
//
// Usage: statuses ADAPTERS COMMANDS TIMEOUT_MS
#include "tarvixsdk/sdk.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
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

StatusCode perform(TarvixSDK& sdk, int command)
{
    std::vector<std::uint8_t> data;
    auto level = GpioLogicLevel::LOW;
    switch (command % 4) {
    case 0:
        return sdk.i2cControllerInit(0, 400'000, 0);
    case 1:
        return sdk.getUsbString(data, 2);
    case 2:
        return sdk.i2cRead(0, 0x50, {0}, 100, data, false);
    default:
        return sdk.gpioDigitalRead(GpioPinNumber::PIN_0, level);
    }
}

std::string converse(int adapter, int commands, int timeout)
{
    char serialNumber[16];
    std::snprintf(serialNumber, sizeof serialNumber, "TVX%07d", adapter + 1);
    std::string statuses = serialNumber;
    TarvixSDK sdk(timeout);
    if (!reconnect(sdk, serialNumber)) {
        return statuses + " absent";
    }
    for (int command = 0; command < commands; ++command) {
        const auto status = perform(sdk, command);
        char text[8];
        std::snprintf(text, sizeof text, " %04x", static_cast<unsigned>(status));
        statuses += text;
        if (status == StatusCode::NO_RESPONSE && !reconnect(sdk, serialNumber)) {
            return statuses + " absent";
        }
    }
    return statuses;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 4) {
        return 2;
    }
    std::vector<std::string> lines(static_cast<std::size_t>(std::atoi(arguments[1])));
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        threads.emplace_back(
            [&, i] { lines[i] = converse(static_cast<int>(i), std::atoi(arguments[2]), std::atoi(arguments[3])); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& line : lines) {
        std::puts(line.c_str());
    }
}
