// What the C++ examples share: opening the adapter, and stopping with a message when a command fails.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include <tarvixsdk/sdk.hpp>

// Throws unless `status` is success. The library's statuses have names; the adapter's are defined by its firmware.
inline void check(StatusCode status, const std::string& what)
{
    if (status == StatusCode::SUCCESS) {
        return;
    }
    char number[8];
    std::snprintf(number, sizeof number, "0x%04X", static_cast<unsigned>(status));
    throw std::runtime_error(what + (status == StatusCode::NO_RESPONSE ? ": no response in time" : ": status ") +
                             (status == StatusCode::NO_RESPONSE ? "" : number));
}

// Runs an example on the first adapter, or on the one whose serial number is the program's argument.
template <typename Example>
int run(int argc, char** argv, Example example)
{
    try {
        const std::string serialNumber = argc > 1 ? argv[1] : "";
        TarvixSDK adapter(2000); // milliseconds to wait for each response
        if (!adapter.connectWithSerialNumber(serialNumber)) {
            throw std::runtime_error("no adapter " + serialNumber +
                                     " could be opened: is it plugged in, and may you use its hidraw node?");
        }
        example(adapter);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return EXIT_FAILURE;
    }
}
