// The adapter's node for programs that carry hidapi inside, or use hidraw themselves: open, the ioctls of hidraw, and
// what else of the C library would show that the descriptor is a socket.
//
// All of it stays out of the way of other descriptors: open compares the path, ioctl and fstat look closer only at
// hidraw's requests and at sockets, read only at what looks like the end of a file, write at a table.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/hidraw.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "common/open.hpp"
#include "ports/run/preload/client.hpp"
#include "ports/shared/identity.hpp"

namespace sim {

namespace {

using preload::Next;

// Descriptors that were opened here. One may have been closed since, and a copy of one is missing: that costs it no
// more than a less fitting error.
std::array<std::atomic<bool>, 65'536> handles{};

bool mayBeHandle(int descriptor)
{
    return descriptor >= 0 && static_cast<std::size_t>(descriptor) < handles.size() &&
           handles[static_cast<std::size_t>(descriptor)].load(std::memory_order_relaxed);
}

// Who opens the node to write opens the adapter. Who opens it to read only gets the file, which is what a lock needs.
bool opensAdapter(const char* path, int flags)
{
    return path && (flags & O_ACCMODE) != O_RDONLY && (flags & O_PATH) == 0 && nodeNumber(path);
}

int openAdapter(const char* path, int flags)
{
    FileDescriptor handle = openNode(path);
    if (!handle) {
        errno = ENOENT;
        return -1;
    }
    ::fcntl(handle.get(), F_SETFD, flags & O_CLOEXEC ? FD_CLOEXEC : 0);
    ::fcntl(handle.get(), F_SETFL, flags & O_NONBLOCK);
    if (static_cast<std::size_t>(handle.get()) < handles.size()) {
        handles[static_cast<std::size_t>(handle.get())] = true;
    }
    return handle.release();
}

int disguise(int result, int descriptor, struct stat* status)
{
    if (result == 0 && S_ISSOCK(status->st_mode)) {
        if (const auto node = nodeOf(descriptor)) {
            status->st_mode = S_IFCHR | 0600;
            status->st_rdev = deviceNumber(*nodeNumber(*node));
        }
    }
    return result;
}

int copyText(void* argument, unsigned request, const std::string& text)
{
    const std::size_t size = std::min<std::size_t>(_IOC_SIZE(request), text.size() + 1);
    std::memcpy(argument, text.c_str(), size);
    return static_cast<int>(size);
}

int failWith(int error)
{
    errno = error;
    return -1;
}

int copyDescriptor(const Adapter& adapter, hidraw_report_descriptor& into)
{
    if (into.size >= HID_MAX_DESCRIPTOR_SIZE) {
        return failWith(EINVAL);
    }
    const auto descriptor = reportDescriptor(adapter.reportSize);
    std::copy_n(descriptor.begin(), std::min<std::size_t>(into.size, descriptor.size()), into.value);
    return 0;
}

int answerRequest(int handle, const std::string& node, unsigned request, void* argument)
{
    const auto adapter = adapterAt(node);
    if (!adapter) {
        return failWith(ENODEV);
    }
    switch (request) {
    case HIDIOCGRDESCSIZE:
        *static_cast<int*>(argument) = static_cast<int>(reportDescriptor(adapter->reportSize).size());
        return 0;
    case HIDIOCGRDESC:
        return copyDescriptor(*adapter, *static_cast<hidraw_report_descriptor*>(argument));
    case HIDIOCGRAWINFO:
        *static_cast<hidraw_devinfo*>(argument) = {BUS_USB, static_cast<__s16>(VENDOR_ID),
                                                   static_cast<__s16>(adapter->productId)};
        return 0;
    default:
        break;
    }
    switch (_IOC_NR(request)) { // these carry the size of the caller's buffer
    case _IOC_NR(HIDIOCGRAWNAME(0)):
        return copyText(argument, request, hidName(adapter->manufacturer, adapter->product));
    case _IOC_NR(HIDIOCGRAWPHYS(0)):
        return copyText(argument, request, physicalPath(adapter->serialNumber));
    case _IOC_NR(HIDIOCGRAWUNIQ(0)):
        return copyText(argument, request, adapter->serialNumber);
    case _IOC_NR(HIDIOCSOUTPUT(0)):
        return static_cast<int>(writeReport(handle, argument, _IOC_SIZE(request)));
    case _IOC_NR(HIDIOCSFEATURE(0)):
    case _IOC_NR(HIDIOCGFEATURE(0)):
    case _IOC_NR(HIDIOCGINPUT(0)):
    case _IOC_NR(HIDIOCSINPUT(0)):
    case _IOC_NR(HIDIOCGOUTPUT(0)):
        return failWith(EPIPE); // the device stalls
    default:
        return failWith(ENOTTY);
    }
}

constinit Next<int(int, struct stat*)> nextFstat("fstat");
constinit Next<int(int, int, struct stat*)> nextFxstat("__fxstat");
constinit Next<int(int, unsigned long, void*)> nextIoctl("ioctl");
constinit Next<ssize_t(int, void*, std::size_t)> nextRead("read");
constinit Next<ssize_t(int, const void*, std::size_t)> nextWrite("write");

// A signal handler may write, but not look functions up.
__attribute__((constructor)) void findNext()
{
    nextRead.get();
    nextWrite.get();
}

} // namespace

extern "C" {

int statusOf(int descriptor, struct stat* status) ANSWERS("fstat");
int statusOf64(int descriptor, struct stat* status) ANSWERS_ALSO("fstat64", "fstat");
int oldStatusOf(int version, int descriptor, struct stat* status) ANSWERS("__fxstat");
int oldStatusOf64(int version, int descriptor, struct stat* status) ANSWERS_ALSO("__fxstat64", "__fxstat");
int control(int descriptor, unsigned long request, void* argument) ANSWERS("ioctl");
ssize_t readFrom(int descriptor, void* data, std::size_t size) ANSWERS("read");
ssize_t writeTo(int descriptor, const void* data, std::size_t size) ANSWERS("write");

int statusOf(int descriptor, struct stat* status)
{
    return disguise(nextFstat.get()(descriptor, status), descriptor, status);
}

int oldStatusOf(int version, int descriptor, struct stat* status)
{
    return disguise(nextFxstat.get()(version, descriptor, status), descriptor, status);
}

int control(int descriptor, unsigned long request, void* argument)
{
    if (_IOC_TYPE(request) == 'H') {
        if (const auto node = nodeOf(descriptor)) {
            return answerRequest(descriptor, *node, static_cast<unsigned>(request), argument);
        }
    }
    return nextIoctl.get()(descriptor, request, argument);
}

ssize_t readFrom(int descriptor, void* data, std::size_t size)
{
    const ssize_t count = nextRead.get()(descriptor, data, size);
    const bool ended = (count == 0 && size > 0) || (count < 0 && errno == ECONNRESET);
    if (!ended || !mayBeHandle(descriptor)) {
        return count;
    }
    const int error = errno;
    const bool unplugged = nodeOf(descriptor).has_value();
    errno = unplugged ? EIO : error;
    return unplugged ? -1 : count;
}

ssize_t writeTo(int descriptor, const void* data, std::size_t size)
{
    if (mayBeHandle(descriptor) && nodeOf(descriptor)) {
        return writeReport(descriptor, data, size);
    }
    return nextWrite.get()(descriptor, data, size);
}

} // extern "C"

} // namespace sim

int preload::openFile(const char* path, int flags, mode_t mode)
{
    return sim::opensAdapter(path, flags) ? sim::openAdapter(path, flags) : nextOpen.get()(path, flags, mode);
}

int preload::openFileAt(int directory, const char* path, int flags, mode_t mode)
{
    return sim::opensAdapter(path, flags) ? sim::openAdapter(path, flags)
                                          : nextOpenAt.get()(directory, path, flags, mode);
}
