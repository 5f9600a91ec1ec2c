// The adapters attached to this machine, and the selectors that name them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct Adapter {
    std::string selector; // what --adapter takes to choose exactly this one
    std::string serialNumber;
    std::string manufacturer;
    std::string product;
    std::string path; // as hidapi names it
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    unsigned reportSize = 0; // bytes
};

// In the order in which hidapi lists them. Opens none.
std::vector<Adapter> listAdapters();

// The one adapter that `selector` names: a serial number, path:PATH or index:N; empty for the only one attached.
// Throws Failure: no adapter, several of them, or none that fits.
Adapter chooseAdapter(std::string_view selector);

bool isListed(std::string_view path);

// How to get permission, for error messages.
extern const char* const PERMISSION_ADVICE;

} // namespace tool
