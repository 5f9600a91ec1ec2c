// A capture file while it is being written.
#pragma once

#include <cstdio>
#include <string>

namespace trace {

// A stream of the file that ends before a record of which the system does not show all bytes yet, and goes on when it
// does. The file must have its header. Throws a CaptureError when it cannot be opened.
std::FILE* openGrowing(const std::string& path);

} // namespace trace
