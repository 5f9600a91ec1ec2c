// hidapi's functions for the programs under `tarvix-sim run`, preloaded into them (libtarvixsim-hid.so).
//
// A device handle is a connection to the host in which every message is one report. Results and the reading of the
// arguments follow hidapi 0.13 with its hidraw backend. Everything works from any thread, several at a time on one
// handle too: errors are constant texts, so setting one never takes another from a thread that reads it.
//
// What callers free is the C library's memory.

// Everything that the header declares is exported, nothing else.
#pragma GCC visibility push(default)
#include <hidapi.h>
#include <hidapi_libusb.h>

// Of later versions: a program linked against one must not take our handles there.
extern "C" {
int hid_get_report_descriptor(hid_device* device, unsigned char* buffer, size_t size);
int hid_send_output_report(hid_device* device, const unsigned char* data, size_t length);
const wchar_t* hid_read_error(hid_device* device);
}
#pragma GCC visibility pop

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>

#include "ports/run/preload/client.hpp"
#include "ports/shared/identity.hpp"
#include "ports/shared/utf8.hpp"

using namespace sim;

struct hid_device_ {
    FileDescriptor connection;
    std::size_t reportSize = 0;
    hid_device_info* info = nullptr;
    std::atomic<bool> blocking{true};
    std::atomic<const wchar_t*> error{nullptr};
};

namespace {

constexpr const wchar_t* NO_ERROR = L"Success";
constexpr const wchar_t* OUTSIDE = L"TARVIX_SIM_SOCKET is not set: run the program under 'tarvix-sim run'";
constexpr const wchar_t* NO_HOST = L"tarvix-sim does not answer";
constexpr const wchar_t* NO_DEVICE = L"No such device";
constexpr const wchar_t* NONE_FOUND = L"No HID devices with requested VID/PID found in the system.";
constexpr const wchar_t* UNPLUGGED = L"The device was disconnected";
constexpr const wchar_t* INVALID = L"Invalid argument";
constexpr const wchar_t* INTERRUPTED = L"Interrupted system call";
constexpr const wchar_t* TIMED_OUT = L"Connection timed out";
constexpr const wchar_t* NO_SUCH_REPORT = L"The device has no such report";
constexpr const wchar_t* NO_SUCH_STRING = L"The device has no such string";
constexpr const wchar_t* NOT_USB = L"A device of tarvix-sim has no USB file descriptor";

std::atomic<const wchar_t*> globalError{nullptr};

// Of errors without a device.
void setGlobal(const wchar_t* error)
{
    globalError = error;
}

int fail(hid_device* device, const wchar_t* error)
{
    device->error = error;
    return -1;
}

int succeed(hid_device* device, int result)
{
    device->error = nullptr;
    return result;
}

wchar_t* widen(const std::string& text)
{
    return ::wcsdup(fromUtf8(text).value_or(L"").c_str());
}

// The host's answer; the global error is set where there is none.
template <typename Answer>
Answer checked(Answer answer, const wchar_t* error)
{
    setGlobal(answer ? nullptr : hasHost() ? error : OUTSIDE);
    return answer;
}

hid_device_info* makeInfo(const Adapter& adapter)
{
    auto* info = static_cast<hid_device_info*>(std::calloc(1, sizeof(hid_device_info)));
    if (info) {
        info->path = ::strdup(adapter.path.c_str());
        info->vendor_id = VENDOR_ID;
        info->product_id = adapter.productId;
        info->serial_number = widen(adapter.serialNumber);
        info->release_number = RELEASE_NUMBER;
        info->manufacturer_string = widen(adapter.manufacturer);
        info->product_string = widen(adapter.product);
        info->usage_page = USAGE_PAGE;
        info->usage = USAGE;
        info->interface_number = 0;
        info->bus_type = HID_API_BUS_USB;
    }
    return info;
}

bool matches(const hid_device_info& info, unsigned short vendorId, unsigned short productId)
{
    return (vendorId == 0 || vendorId == info.vendor_id) && (productId == 0 || productId == info.product_id);
}

// Truncated to the buffer, with a terminator, as wcsncpy of the backends does it.
int copyString(hid_device* device, const wchar_t* text, wchar_t* string, std::size_t capacity)
{
    if (!string || capacity == 0) {
        return fail(device, INVALID);
    }
    std::wcsncpy(string, text ? text : L"", capacity - 1);
    string[capacity - 1] = L'\0';
    return succeed(device, 0);
}

} // namespace

extern "C" {

int hid_init()
{
    setGlobal(nullptr);
    return 0;
}

int hid_exit()
{
    setGlobal(nullptr);
    return 0;
}

hid_device_info* hid_enumerate(unsigned short vendorId, unsigned short productId)
{
    const auto adapters = checked(listAdapters(), NO_HOST);
    hid_device_info* first = nullptr;
    hid_device_info** next = &first;
    for (const Adapter& adapter : adapters.value_or(std::vector<Adapter>{})) {
        hid_device_info* info = makeInfo(adapter);
        if (info && matches(*info, vendorId, productId)) {
            *next = info;
            next = &info->next;
        } else {
            hid_free_enumeration(info);
        }
    }
    if (adapters && !first) {
        setGlobal(NONE_FOUND);
    }
    return first;
}

void hid_free_enumeration(hid_device_info* info)
{
    while (info) {
        std::free(info->path);
        std::free(info->serial_number);
        std::free(info->manufacturer_string);
        std::free(info->product_string);
        std::free(std::exchange(info, info->next));
    }
}

hid_device* hid_open(unsigned short vendorId, unsigned short productId, const wchar_t* serialNumber)
{
    hid_device_info* const all = hid_enumerate(vendorId, productId);
    hid_device_info* info = all;
    while (info && serialNumber && *serialNumber && std::wcscmp(info->serial_number, serialNumber) != 0) {
        info = info->next;
    }
    hid_device* device = nullptr;
    if (info) {
        device = hid_open_path(info->path);
    } else if (all) {
        setGlobal(NO_DEVICE);
    }
    hid_free_enumeration(all);
    return device;
}

hid_device* hid_open_path(const char* path)
{
    if (!path) {
        setGlobal(INVALID);
        return nullptr;
    }
    FileDescriptor handle = checked(openNode(path), NO_DEVICE);
    const auto adapter = handle ? checked(adapterAt(path), NO_DEVICE) : std::nullopt;
    if (!adapter) {
        return nullptr;
    }
    auto* device = new hid_device;
    device->connection = std::move(handle);
    device->reportSize = adapter->reportSize;
    device->info = makeInfo(*adapter);
    return device;
}

void hid_close(hid_device* device)
{
    if (device) {
        hid_free_enumeration(device->info);
        delete device;
    }
}

int hid_write(hid_device* device, const unsigned char* data, size_t length)
{
    if (!data) {
        return fail(device, INVALID);
    }
    const auto written = writeReport(device->connection.get(), data, length);
    if (written < 0) {
        return fail(device, errno == EINVAL      ? INVALID
                            : errno == ETIMEDOUT ? TIMED_OUT
                            : errno == EINTR     ? INTERRUPTED
                                                 : UNPLUGGED);
    }
    return succeed(device, static_cast<int>(written));
}

int hid_read_timeout(hid_device* device, unsigned char* data, size_t length, int milliseconds)
{
    if (!data) {
        return fail(device, INVALID);
    }
    // Above a timeout of -1 hidapi waits in read, and below it in poll: either way a signal ends the wait.
    pollfd readable{device->connection.get(), POLLIN, 0};
    const int ready = ::poll(&readable, 1, milliseconds < 0 ? -1 : milliseconds);
    if (ready < 0) {
        return fail(device, INTERRUPTED);
    }
    if (ready == 0) {
        return succeed(device, 0);
    }
    const auto size = receiveMessage(device->connection.get(), data, length, MSG_DONTWAIT);
    if (size > 0) {
        return succeed(device, static_cast<int>(size));
    }
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return succeed(device, 0); // another thread was faster
    }
    return fail(device, UNPLUGGED);
}

int hid_read(hid_device* device, unsigned char* data, size_t length)
{
    return hid_read_timeout(device, data, length, device->blocking ? -1 : 0);
}

int hid_set_nonblocking(hid_device* device, int nonblock)
{
    device->blocking = nonblock == 0;
    return succeed(device, 0);
}

int hid_send_feature_report(hid_device* device, const unsigned char*, size_t)
{
    return fail(device, NO_SUCH_REPORT);
}

int hid_get_feature_report(hid_device* device, unsigned char*, size_t)
{
    return fail(device, NO_SUCH_REPORT);
}

int hid_get_input_report(hid_device* device, unsigned char*, size_t)
{
    return fail(device, NO_SUCH_REPORT);
}

int hid_send_output_report(hid_device* device, const unsigned char* data, size_t length)
{
    return hid_write(device, data, length);
}

int hid_get_report_descriptor(hid_device* device, unsigned char* buffer, size_t size)
{
    if (!buffer) {
        return fail(device, INVALID);
    }
    const auto descriptor = reportDescriptor(device->reportSize);
    const auto count = std::min(size, descriptor.size());
    std::copy_n(descriptor.begin(), count, buffer);
    return succeed(device, static_cast<int>(count));
}

int hid_get_manufacturer_string(hid_device* device, wchar_t* string, size_t capacity)
{
    return copyString(device, device->info->manufacturer_string, string, capacity);
}

int hid_get_product_string(hid_device* device, wchar_t* string, size_t capacity)
{
    return copyString(device, device->info->product_string, string, capacity);
}

int hid_get_serial_number_string(hid_device* device, wchar_t* string, size_t capacity)
{
    return copyString(device, device->info->serial_number, string, capacity);
}

int hid_get_indexed_string(hid_device* device, int index, wchar_t* string, size_t capacity)
{
    const wchar_t* const strings[] = {device->info->manufacturer_string, device->info->product_string,
                                      device->info->serial_number};
    if (index < 1 || index > 3) {
        return fail(device, NO_SUCH_STRING);
    }
    return copyString(device, strings[index - 1], string, capacity);
}

hid_device_info* hid_get_device_info(hid_device* device)
{
    return device->info;
}

hid_device* hid_libusb_wrap_sys_device(intptr_t, int)
{
    setGlobal(NOT_USB);
    return nullptr;
}

const wchar_t* hid_error(hid_device* device)
{
    const wchar_t* error = device ? device->error : globalError;
    return error ? error : NO_ERROR;
}

const wchar_t* hid_read_error(hid_device* device)
{
    return hid_error(device);
}

const hid_api_version* hid_version()
{
    static const hid_api_version version{HID_API_VERSION_MAJOR, HID_API_VERSION_MINOR, HID_API_VERSION_PATCH};
    return &version;
}

const char* hid_version_str()
{
    return HID_API_VERSION_STR;
}

} // extern "C"
