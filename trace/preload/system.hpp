// What of the C library and of hidapi stands behind this library.
#pragma once

#include <cstddef>
#include <sys/types.h>

#include "common/next.hpp"

namespace recorder::next {

using preload::Next;

inline constinit Next<ssize_t(int, void*, std::size_t)> read("read");
inline constinit Next<ssize_t(int, void*, std::size_t, std::size_t)> readChecked("__read_chk");
inline constinit Next<ssize_t(int, const void*, std::size_t)> write("write");
inline constinit Next<int(int)> close("close");

} // namespace recorder::next
