// The adapters that hidapi finds.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tarvixsdk/adapters.hpp"
#include "transport/device_catalogue.hpp"

// hidapi keeps state of the whole process (its error string, its udev context) without a lock of its own; sessions may
// be opened and closed on several threads. Held by every caller of the functions below.
std::mutex& hidapiMutex();

struct FoundDevice {
    std::size_t reportSize;
    std::string path;
};

// The first supported device that passes the filters; an empty filter passes all. Raises std::range_error "bad
// conversion" for a serial number that is not valid Unicode, met before that device.
std::optional<FoundDevice> findDevice(const std::string& path, const std::string& serial);

// All supported devices; never raises anything but std::bad_alloc.
std::vector<AdapterInfo> enumerateAdapters();
