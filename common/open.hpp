// The ways in which programs open files, for a library that is preloaded to stand in front of them. One of its sources
// includes this and defines openFile and openFileAt.
#pragma once

#include "common/next.hpp"

// Named by hand: the system's headers declare these functions in more ways than one, some of them inline.
#define ANSWERS(name) __asm__(name) __attribute__((visibility("default")))

// Where files have 64-bit sizes anyway, the C library has one function under two names, and so has a preloaded one.
static_assert(sizeof(off_t) == sizeof(off64_t));
#define ANSWERS_ALSO(name, first) __asm__(name) __attribute__((alias(first), visibility("default")))

namespace preload {

extern "C" {

int openFile(const char* path, int flags, mode_t mode) ANSWERS("open");
int openFile64(const char* path, int flags, mode_t mode) ANSWERS_ALSO("open64", "open");
int openFileAt(int directory, const char* path, int flags, mode_t mode) ANSWERS("openat");
int openFileAt64(int directory, const char* path, int flags, mode_t mode) ANSWERS_ALSO("openat64", "openat");
int openChecked(const char* path, int flags) ANSWERS("__open_2");
int openChecked64(const char* path, int flags) ANSWERS_ALSO("__open64_2", "__open_2");
int openCheckedAt(int directory, const char* path, int flags) ANSWERS("__openat_2");
int openCheckedAt64(int directory, const char* path, int flags) ANSWERS_ALSO("__openat64_2", "__openat_2");

// The checked forms are for flags that want no mode.
int openChecked(const char* path, int flags)
{
    return openFile(path, flags, 0);
}

int openCheckedAt(int directory, const char* path, int flags)
{
    return openFileAt(directory, path, flags, 0);
}

} // extern "C"

} // namespace preload
