// What the C++ examples share: opening the adapter, and stopping with a message when a command fails.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include <tarvixsdk/sdk.hpp>

// The library's statuses have names; the adapter's numbers are defined by its firmware.
inline std::string describe(StatusCode status)
{
    if (const char* const name = statusName(status)) {
        return name;
    }
    char text[32];
    std::snprintf(text, sizeof text, "adapter status 0x%04X", static_cast<unsigned>(status));
    return text;
}

// Throws unless `status` is success.
inline void check(StatusCode status, const std::string& what)
{
    if (status != StatusCode::SUCCESS) {
        throw std::runtime_error(what + ": " + describe(status));
    }
}

// Runs an example on the adapter whose serial number is the program's argument, or on the only one. The adapter closes
// when this returns: what a handler uses must be declared before it is called.
template <typename Example>
int run(int argc, char** argv, Example example)
{
    try {
        TarvixSDK adapter(2000); // milliseconds to wait for each response
        OpenOptions options;
        options.serialNumber = argc > 1 ? argv[1] : "";
        const OpenResult opened = adapter.open(options);
        if (!opened) {
            throw std::runtime_error(opened.message);
        }
        example(adapter);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return EXIT_FAILURE;
    }
}
