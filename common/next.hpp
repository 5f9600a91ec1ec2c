// The function that a preloaded one stands in front of.
#pragma once

#include <atomic>
#include <dlfcn.h>
#include <sys/types.h>

namespace preload {

// Constant-initialised, because the C library may be called before any constructor has run.
template <typename Function>
class Next {
public:
    constexpr explicit Next(const char* name) : name_(name) {}

    Function* get()
    {
        Function* function = found_.load(std::memory_order_relaxed);
        if (!function) {
            function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name_));
            found_.store(function, std::memory_order_relaxed);
        }
        return function;
    }

private:
    const char* const name_;
    std::atomic<Function*> found_{nullptr};
};

// Declared with the arguments that the variable ones stand for, which travel alike. A mode that the caller left out is
// passed on as it is found, to somebody who doesn't look at it.
inline constinit Next<int(const char*, int, mode_t)> nextOpen("open");
inline constinit Next<int(int, const char*, int, mode_t)> nextOpenAt("openat");

} // namespace preload
