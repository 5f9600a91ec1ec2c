#include "adapter/backend.hpp"

#include <dlfcn.h>
#include <hidapi/hidapi.h>

namespace tool {

Backend currentBackend()
{
    Backend backend{hid_version_str(), "unknown"};
    Dl_info where{};
    // By name, as the library finds it: a preloaded library answers instead of hidapi's own.
    void* const function = dlsym(RTLD_DEFAULT, "hid_enumerate");
    if (function != nullptr && dladdr(function, &where) != 0 && where.dli_fname != nullptr) {
        const std::string file = where.dli_fname;
        backend.library = file.substr(file.rfind('/') + 1);
    }
    return backend;
}

} // namespace tool
