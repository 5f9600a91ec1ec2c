// hidapi's functions that open, close, write and read: each hands its call on and records what came of it.

#pragma GCC visibility push(default)
#include <hidapi.h>
#pragma GCC visibility pop

#include <array>
#include <cerrno>
#include <climits>
#include <dlfcn.h>
#include <link.h>
#include <string_view>

#include "trace/preload/adapter.hpp"
#include "trace/preload/handles.hpp"
#include "trace/preload/inside.hpp"
#include "trace/preload/note.hpp"

using namespace recorder;

namespace {

// Of the object that has the address.
link_map* objectOf(const void* address)
{
    Dl_info info{};
    void* object = nullptr;
    return ::dladdr1(address, &info, &object, RTLD_DL_LINKMAP) ? static_cast<link_map*>(object) : nullptr;
}

// The function that the caller would have without us: the next one in the program, or else, when the caller was loaded
// later, as Python loads its modules, one of what it brought along.
template <typename Function>
Function* find(const char* name, const void* caller)
{
    const Unnoticed unnoticed;
    void* found = ::dlsym(RTLD_NEXT, name);
    const link_map* const object = found ? nullptr : objectOf(caller);
    if (object && *object->l_name) {
        if (void* const handle = ::dlopen(object->l_name, RTLD_LAZY | RTLD_NOLOAD)) {
            found = ::dlsym(handle, name);
            ::dlclose(handle);
        }
    }
    ::dlerror(); // the program's next one is about its own
    return reinterpret_cast<Function*>(found);
}

// A caller without the function would not have been loaded without us either.
template <typename Result>
Result unavailable(Result result)
{
    errno = ENOSYS;
    return result;
}

// Makes a call that is not to be recorded again on its way down.
template <typename Call>
auto inside(Call call)
{
    const Inside inside;
    return call();
}

// The same, and finds the error number that it left: 0 for none. The caller's errno is what it would have been.
template <typename Call>
auto watched(Call call, int& error)
{
    const int before = errno;
    errno = 0;
    const auto result = inside(call);
    error = errno;
    if (error == 0) {
        errno = before;
    }
    return result;
}

void addDevice(hid_device* device, const void* caller)
{
    const Unnoticed unnoticed;
    const Inside inside;
    Handle handle;
    const auto describe = find<decltype(hid_get_device_info)>("hid_get_device_info", caller);
    const hid_device_info* const info = describe ? describe(device) : nullptr;
    handle.hid = {find<decltype(hid_write)>("hid_write", caller), find<decltype(hid_read)>("hid_read", caller),
                  find<decltype(hid_read_timeout)>("hid_read_timeout", caller),
                  find<decltype(hid_close)>("hid_close", caller)};
    if (info) {
        handle.recorded = isAdapter(info->vendor_id, info->product_id);
        handle.adapter.vendor = info->vendor_id;
        handle.adapter.product = info->product_id;
        locate(handle.adapter, info->path);
        toUtf8(info->serial_number, handle.adapter.serial);
    }
    const Handle* const added = addHandle(keyOf(device), handle);
    if (added && added->recorded) {
        recordOpening(added->adapter);
    }
}

// The reason that hidapi gives stands until its next call without a device.
void recordFailure(Adapter& adapter, const void* caller)
{
    const Unnoticed unnoticed;
    const Inside inside;
    std::array<char, 512> text{};
    const auto error = find<decltype(hid_error)>("hid_error", caller);
    toUtf8(error ? error(nullptr) : nullptr, text);
    const bool given = text[0] != '\0' && !std::string_view(text.data()).starts_with("hid_error is not implemented");
    recordFailedOpening(adapter, given ? text.data() : "hidapi gives no reason");
}

// hidapi before 0.13 cannot say what it has opened: such a device is recorded at its node.
bool recordsHandles(const void* caller)
{
    return !Inside::any() && records() && find<decltype(hid_get_device_info)>("hid_get_device_info", caller);
}

Handle* recordedHandle(hid_device* device)
{
    Handle* const handle = Inside::any() ? nullptr : findHandle(keyOf(device));
    return handle && handle->recorded && records() ? handle : nullptr;
}

// Without a handle it is looked up each time: what was found before may be unloaded by now.
template <typename Function>
Function* functionOf(hid_device* device, Function* HidFunctions::*member, const char* name, const void* caller)
{
    const Handle* const handle = findHandle(keyOf(device));
    return handle && handle->hid.*member ? handle->hid.*member : find<Function>(name, caller);
}

template <typename Read>
int recordedRead(Handle& handle, const unsigned char* data, Read read)
{
    int error = 0;
    const int count = watched(read, error);
    if (count > 0) {
        handle.readsFail = false;
        recordInput(handle.adapter, 0, data, static_cast<std::size_t>(count));
    } else if (count < 0 && error != EINTR && !handle.readsFail.exchange(true)) {
        recordInput(handle.adapter, error != 0 ? error : ESHUTDOWN, nullptr, 0);
    }
    return count;
}

} // namespace

extern "C" {

hid_device* hid_open_path(const char* path)
{
    const void* const caller = __builtin_return_address(0);
    const auto open = find<decltype(hid_open_path)>("hid_open_path", caller);
    if (!open) {
        return unavailable<hid_device*>(nullptr);
    }
    const bool recorded = path && recordsHandles(caller);
    hid_device* const device = recorded ? inside([&] { return open(path); }) : open(path);
    if (recorded && device) {
        addDevice(device, caller);
    } else if (recorded && !isAnothers(path)) {
        Adapter adapter{};
        locate(adapter, path);
        recordFailure(adapter, caller);
    }
    return device;
}

hid_device* hid_open(unsigned short vendor, unsigned short product, const wchar_t* serial)
{
    const void* const caller = __builtin_return_address(0);
    const auto open = find<decltype(hid_open)>("hid_open", caller);
    if (!open) {
        return unavailable<hid_device*>(nullptr);
    }
    const bool recorded = recordsHandles(caller);
    const auto call = [&] { return open(vendor, product, serial); };
    hid_device* const device = recorded ? inside(call) : call();
    if (recorded && device) {
        addDevice(device, caller);
    } else if (recorded && isAdapter(vendor, product)) {
        Adapter adapter{};
        toUtf8(serial, adapter.serial);
        recordFailure(adapter, caller);
    }
    return device;
}

void hid_close(hid_device* device)
{
    const auto close = functionOf(device, &HidFunctions::close, "hid_close", __builtin_return_address(0));
    Handle* const handle = Inside::any() ? nullptr : findHandle(keyOf(device));
    if (handle) {
        if (handle->recorded) {
            recordClosing(handle->adapter);
        }
        removeHandle(*handle); // before another thread gets a device at the same address
    }
    if (close && handle) {
        inside([&] { close(device); });
    } else if (close) {
        close(device);
    }
}

int hid_write(hid_device* device, const unsigned char* data, size_t length)
{
    const auto write = functionOf(device, &HidFunctions::write, "hid_write", __builtin_return_address(0));
    Handle* const handle = recordedHandle(device);
    if (!write) {
        return unavailable(-1);
    }
    const auto call = [&] { return write(device, data, length); };
    if (!handle || !data || length == 0) {
        return call();
    }
    const std::uint64_t transfer = recordOutput(handle->adapter, data, length);
    int error = 0;
    const int count = watched(call, error);
    recordCompletion(handle->adapter, transfer, count >= 0 ? 0 : error != 0 ? error : ESHUTDOWN, length - 1);
    return count;
}

int hid_read_timeout(hid_device* device, unsigned char* data, size_t length, int milliseconds)
{
    const auto read = functionOf(device, &HidFunctions::readTimeout, "hid_read_timeout", __builtin_return_address(0));
    Handle* const handle = recordedHandle(device);
    if (!read) {
        return unavailable(-1);
    }
    const auto call = [&] { return read(device, data, length, milliseconds); };
    return handle ? recordedRead(*handle, data, call) : call();
}

int hid_read(hid_device* device, unsigned char* data, size_t length)
{
    const auto read = functionOf(device, &HidFunctions::read, "hid_read", __builtin_return_address(0));
    Handle* const handle = recordedHandle(device);
    if (!read) {
        return unavailable(-1);
    }
    const auto call = [&] { return read(device, data, length); };
    return handle ? recordedRead(*handle, data, call) : call();
}

} // extern "C"
