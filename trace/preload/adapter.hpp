// Where an adapter is on USB.
#pragma once

#include <cstdint>

#include "trace/preload/recording.hpp"

namespace recorder {

// Fills in path, bus and device: what the kernel says of a node or of a path of libusb's; for an adapter that it does
// not know, such as a virtual one, numbers that the path always gets.
void locate(Adapter& adapter, const char* path);

// Whether the kernel knows the node as another maker's device.
bool isAnothers(const char* path);

// Whether the path is that of a hidraw node, or leads to one.
bool isNode(const char* path, int descriptor);

// Asks a hidraw node who it is; false if it is none.
bool identify(Adapter& adapter, int descriptor);

} // namespace recorder
