// Going over a whole capture file, for commands that do.
#pragma once

#include <functional>
#include <string>

#include "trace/capture/reader.hpp"

namespace trace {

// Calls `take` for each record, then `end`, also for what can be read of a damaged file: then with what is wrong, else
// with null. `end` returns whether there was any traffic of an adapter. Throws a tool::Failure for a file that is
// damaged or has no such traffic.
void readCapture(const std::string& path, const std::function<void(const Record&)>& take,
                 const std::function<bool(const CaptureError* damage)>& end);

} // namespace trace
