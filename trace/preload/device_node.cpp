// The adapter's node for programs that carry hidapi inside, or use hidraw themselves.
//
// All of it stays out of the way of other descriptors: open looks at the path, the others at a table.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

#include "trace/preload/adapter.hpp"
#include "trace/preload/handles.hpp"
#include "trace/preload/inside.hpp"
#include "trace/preload/system.hpp"

// Named by hand: the system's headers declare these functions in more ways than one, some of them inline.
#define ANSWERS(name) __asm__(name) __attribute__((visibility("default")))

// Where files have 64-bit sizes anyway, the C library has one function under two names, and so has this.
static_assert(sizeof(off_t) == sizeof(off64_t));
#define ANSWERS_ALSO(name, first) __asm__(name) __attribute__((alias(first), visibility("default")))

namespace recorder {

namespace {

// A signal handler may read and write, but not look functions up.
__attribute__((constructor)) void findNext()
{
    next::read.get();
    next::write.get();
    next::close.get();
}

// Who opens the node to read only wants a lock, or to listen beside the one who asks.
int opened(const char* path, int flags, int descriptor)
{
    if (!path || (flags & O_ACCMODE) != O_RDWR || Inside::any() || !records()) {
        return descriptor;
    }
    const Unnoticed unnoticed;
    const int error = errno;
    if (!isNode(path, descriptor)) {
        return descriptor;
    }
    Handle handle;
    struct stat status {};
    locate(handle.adapter, path);
    if (descriptor < 0) {
        recordFailedOpening(handle.adapter, ::strerrordesc_np(error));
    } else if (identify(handle.adapter, descriptor) && isAdapter(handle.adapter.vendor, handle.adapter.product) &&
               ::fstat(descriptor, &status) == 0) {
        handle.recorded = true;
        handle.device = status.st_dev;
        handle.number = status.st_ino;
        addHandle(keyOf(descriptor), handle);
        recordOpening(handle.adapter);
    }
    return descriptor;
}

// Null for a descriptor that is none of an adapter, or not any more.
Handle* handleOf(int descriptor)
{
    Handle* const handle = Inside::any() ? nullptr : findHandle(keyOf(descriptor));
    if (!handle) {
        return nullptr;
    }
    const Unnoticed unnoticed;
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && status.st_dev == handle->device && status.st_ino == handle->number) {
        return handle;
    }
    removeHandle(*handle);
    return nullptr;
}

ssize_t recorded(Handle* handle, const void* data, ssize_t count)
{
    if (!handle) {
        return count;
    }
    if (count > 0) {
        handle->readsFail = false;
        recordInput(handle->adapter, 0, data, static_cast<std::size_t>(count));
    } else if (count < 0 && errno != EAGAIN && errno != EINTR && !handle->readsFail.exchange(true)) {
        recordInput(handle->adapter, errno, nullptr, 0);
    }
    return count;
}

} // namespace

extern "C" {

int openFile(const char* path, int flags, mode_t mode) ANSWERS("open");
int openFile64(const char* path, int flags, mode_t mode) ANSWERS_ALSO("open64", "open");
int openFileAt(int directory, const char* path, int flags, mode_t mode) ANSWERS("openat");
int openFileAt64(int directory, const char* path, int flags, mode_t mode) ANSWERS_ALSO("openat64", "openat");
int openChecked(const char* path, int flags) ANSWERS("__open_2");
int openChecked64(const char* path, int flags) ANSWERS_ALSO("__open64_2", "__open_2");
int openCheckedAt(int directory, const char* path, int flags) ANSWERS("__openat_2");
int openCheckedAt64(int directory, const char* path, int flags) ANSWERS_ALSO("__openat64_2", "__openat_2");
int closeFile(int descriptor) ANSWERS("close");
ssize_t readFrom(int descriptor, void* data, std::size_t size) ANSWERS("read");
ssize_t readFromChecked(int descriptor, void* data, std::size_t size, std::size_t room) ANSWERS("__read_chk");
ssize_t writeTo(int descriptor, const void* data, std::size_t size) ANSWERS("write");

int openFile(const char* path, int flags, mode_t mode)
{
    return opened(path, flags, next::open.get()(path, flags, mode));
}

int openFileAt(int directory, const char* path, int flags, mode_t mode)
{
    return opened(path, flags, next::openat.get()(directory, path, flags, mode));
}

// The checked forms are for flags that want no mode.
int openChecked(const char* path, int flags)
{
    return openFile(path, flags, 0);
}

int openCheckedAt(int directory, const char* path, int flags)
{
    return openFileAt(directory, path, flags, 0);
}

int closeFile(int descriptor)
{
    if (Handle* const handle = handleOf(descriptor)) {
        recordClosing(handle->adapter);
        removeHandle(*handle);
    }
    return next::close.get()(descriptor);
}

ssize_t readFrom(int descriptor, void* data, std::size_t size)
{
    Handle* const handle = handleOf(descriptor);
    return recorded(handle, data, next::read.get()(descriptor, data, size));
}

ssize_t readFromChecked(int descriptor, void* data, std::size_t size, std::size_t room)
{
    Handle* const handle = handleOf(descriptor);
    return recorded(handle, data, next::readChecked.get()(descriptor, data, size, room));
}

ssize_t writeTo(int descriptor, const void* data, std::size_t size)
{
    Handle* const handle = handleOf(descriptor);
    if (!handle || size == 0) {
        return next::write.get()(descriptor, data, size);
    }
    const std::uint64_t transfer = recordOutput(handle->adapter, data, size);
    const ssize_t count = next::write.get()(descriptor, data, size);
    recordCompletion(handle->adapter, transfer, count < 0 ? errno : 0, size - 1);
    return count;
}

} // extern "C"

} // namespace recorder
