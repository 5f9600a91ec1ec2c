// The adapter's node for programs that carry hidapi inside, or use hidraw themselves.
//
// All of it stays out of the way of other descriptors: open looks at the path, the others at a table.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

#include "common/open.hpp"
#include "trace/preload/adapter.hpp"
#include "trace/preload/handles.hpp"
#include "trace/preload/inside.hpp"
#include "trace/preload/system.hpp"

namespace recorder {

namespace {

// A signal handler may call them, but not look functions up, which may also have to wait for the dynamic loader.
__attribute__((constructor)) void findNext()
{
    preload::nextOpen.get();
    preload::nextOpenAt.get();
    next::read.get();
    next::readChecked.get();
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
        if (!isAnothers(path)) {
            recordFailedOpening(handle.adapter, ::strerrordesc_np(error));
        }
    } else if (identify(handle.adapter, descriptor) && isAdapter(handle.adapter.vendor, handle.adapter.product) &&
               ::fstat(descriptor, &status) == 0) {
        handle.recorded = true;
        handle.device = status.st_dev;
        handle.number = status.st_ino;
        if (const Handle* const added = addHandle(keyOf(descriptor), handle)) {
            recordOpening(added->adapter);
        }
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

int closeFile(int descriptor) ANSWERS("close");
ssize_t readFrom(int descriptor, void* data, std::size_t size) ANSWERS("read");
ssize_t readFromChecked(int descriptor, void* data, std::size_t size, std::size_t room) ANSWERS("__read_chk");
ssize_t writeTo(int descriptor, const void* data, std::size_t size) ANSWERS("write");

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

int preload::openFile(const char* path, int flags, mode_t mode)
{
    return recorder::opened(path, flags, nextOpen.get()(path, flags, mode));
}

int preload::openFileAt(int directory, const char* path, int flags, mode_t mode)
{
    return recorder::opened(path, flags, nextOpenAt.get()(directory, path, flags, mode));
}
