// The function that a preloaded one stands in front of.
#pragma once

#include <atomic>
#include <dlfcn.h>

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

} // namespace preload
