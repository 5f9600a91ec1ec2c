// The adapters attached to this machine, and the selectors that name them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tarvixsdk/adapters.hpp"

namespace tool {

// As the library lists it, with what --adapter takes to choose exactly this one.
struct Adapter : AdapterInfo {
    std::string selector;
};

// In the order in which hidapi lists them. Opens none.
std::vector<Adapter> attachedAdapters();

// The one adapter that `selector` names: a serial number, path:PATH or index:N; empty for the only one attached.
// Throws Failure: no adapter, several of them, or none that fits.
Adapter chooseAdapter(std::string_view selector);

bool isListed(std::string_view path);

// How to get permission, for error messages.
extern const char* const PERMISSION_ADVICE;

} // namespace tool
