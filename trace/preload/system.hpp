// What of the C library and of hidapi stands behind this library.
#pragma once

#include <cstddef>
#include <fcntl.h>
#include <sys/types.h>

#include "common/next.hpp"

namespace recorder::next {

using preload::Next;

// Declared with the arguments that the variable ones stand for, which travel alike. A mode that the caller left out is
// passed on as it is found, to somebody who doesn't look at it.
inline constinit Next<int(const char*, int, mode_t)> open("open");
inline constinit Next<int(int, const char*, int, mode_t)> openat("openat");
inline constinit Next<ssize_t(int, void*, std::size_t)> read("read");
inline constinit Next<ssize_t(int, void*, std::size_t, std::size_t)> readChecked("__read_chk");
inline constinit Next<ssize_t(int, const void*, std::size_t)> write("write");
inline constinit Next<int(int)> close("close");

} // namespace recorder::next
