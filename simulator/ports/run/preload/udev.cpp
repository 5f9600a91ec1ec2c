// libudev for programs that carry hidapi inside, or use hidraw themselves: whoever asks for devices of the subsystem
// hidraw finds the virtual adapters instead of this machine's. All other questions go to the real libudev.
//
// Devices and list entries of ours are told from libudev's, which are aligned, by their odd addresses. Enumerations and
// monitors are always libudev's own: of an enumeration we remember the list, and the monitor's socket becomes one to
// the host.
#pragma GCC visibility push(default)
#include <libudev.h>
#pragma GCC visibility pop

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unistd.h>

#include "ports/run/preload/client.hpp"
#include "ports/run/sysfs.hpp"
#include "ports/shared/identity.hpp"

namespace {

using namespace sim;

// ---- The real libudev ----------------------------------------------------------------------------------------------

int rememberLibudev(dl_phdr_info* object, std::size_t, void* path)
{
    const std::string_view name = object->dlpi_name;
    if (name.substr(name.rfind('/') + 1).starts_with("libudev")) {
        *static_cast<std::string*>(path) = name;
        return 1;
    }
    return 0;
}

// A module that a program loads may bring libudev along where RTLD_NEXT does not look, under a name of its own even.
void* findInLibudev(const char* function)
{
    if (void* const found = ::dlsym(RTLD_NEXT, function)) {
        return found;
    }
    std::string path;
    ::dl_iterate_phdr(rememberLibudev, &path);
    void* const library = path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    void* const found = library ? ::dlsym(library, function) : nullptr;
    if (library) {
        ::dlclose(library); // stays, for whoever loaded it
    }
    return found;
}

template <typename Result, typename... Parameters>
Result pass(std::type_identity<Result(Parameters...)>, const char* name, std::type_identity_t<Parameters>... arguments)
{
    auto* const function = reinterpret_cast<Result (*)(Parameters...)>(findInLibudev(name));
    return function ? function(arguments...) : Result{};
}

#define LIBUDEV(function, ...) pass(std::type_identity<decltype(function)>{}, #function, __VA_ARGS__)

// ---- Devices and lists of ours -------------------------------------------------------------------------------------

template <typename Handle, typename Object>
Handle* handleOf(Object* object)
{
    return object ? reinterpret_cast<Handle*>(reinterpret_cast<std::uintptr_t>(object) | 1) : nullptr;
}

// Null when the handle is libudev's.
template <typename Object, typename Handle>
Object* objectOf(Handle* handle)
{
    const auto address = reinterpret_cast<std::uintptr_t>(handle);
    return address & 1 ? reinterpret_cast<Object*>(address & ~std::uintptr_t{1}) : nullptr;
}

struct Entry {
    std::string name;
    std::string value;
    Entry* next = nullptr;
};

class List {
public:
    void add(std::string name, std::string value)
    {
        Entry* const last = entries_.empty() ? nullptr : &entries_.back();
        Entry& added = entries_.emplace_back(Entry{std::move(name), std::move(value)});
        if (last) {
            last->next = &added;
        }
    }

    const Entry* find(std::string_view name) const
    {
        const auto found = std::ranges::find(entries_, name, &Entry::name);
        return found == entries_.end() ? nullptr : &*found;
    }

    udev_list_entry* first() { return entries_.empty() ? nullptr : handleOf<udev_list_entry>(&entries_.front()); }

private:
    std::deque<Entry> entries_; // stay where they are
};

struct Device {
    std::atomic<int> references{1};
    udev* context;
    std::string syspath;
    std::string sysname;
    std::string subsystem;
    std::string devtype;
    std::string driver;
    std::string devnode;
    std::string action;
    dev_t number = 0;
    List attributes;
    List properties;
    std::unique_ptr<Device> parent;
};

void describeUsbDevice(Device& device, const Adapter& adapter)
{
    device.subsystem = "usb";
    device.devtype = "usb_device";
    device.driver = "usb";
    const auto hex = [](unsigned number) {
        std::array<char, 8> text{};
        std::snprintf(text.data(), text.size(), "%04x", number);
        return std::string(text.data());
    };
    device.attributes.add("idVendor", hex(VENDOR_ID));
    device.attributes.add("idProduct", hex(adapter.productId));
    device.attributes.add("bcdDevice", hex(RELEASE_NUMBER));
    device.attributes.add("manufacturer", adapter.manufacturer);
    device.attributes.add("product", adapter.product);
    device.attributes.add("serial", adapter.serialNumber);
    device.attributes.add("busnum", "1");
    device.attributes.add("bConfigurationValue", "1");
}

void describeUsbInterface(Device& device)
{
    device.subsystem = "usb";
    device.devtype = "usb_interface";
    device.driver = "usbhid";
    device.attributes.add("bInterfaceNumber", "00");
    device.attributes.add("bInterfaceClass", "03");
}

void describeHid(Device& device, const Adapter& adapter)
{
    device.subsystem = "hid";
    device.driver = "hid-generic";
    device.attributes.add(
        "uevent", hidUevent(adapter.productId, hidName(adapter.manufacturer, adapter.product), adapter.serialNumber));
}

void describeHidraw(Device& device, const Adapter& adapter, unsigned node)
{
    device.subsystem = NODE_NAME;
    device.devnode = adapter.path;
    device.number = deviceNumber(node);
    const auto majorText = std::to_string(major(device.number));
    const auto minorText = std::to_string(minor(device.number));
    device.attributes.add("dev", majorText + ':' + minorText);
    device.properties.add("DEVNAME", device.devnode);
    device.properties.add("MAJOR", majorText);
    device.properties.add("MINOR", minorText);
}

std::unique_ptr<Device> makeDevice(udev* context, const Adapter& adapter, SysDevice kind)
{
    const unsigned node = nodeNumber(adapter.path).value_or(0);
    auto device = std::make_unique<Device>();
    device->context = context;
    device->sysname = sysName(kind, node, adapter.productId);
    device->syspath = sysPath(privateDirectory(), kind, node, adapter.productId);
    switch (kind) {
    case SysDevice::USB_DEVICE:
        describeUsbDevice(*device, adapter);
        break;
    case SysDevice::USB_INTERFACE:
        describeUsbInterface(*device);
        break;
    case SysDevice::HID:
        describeHid(*device, adapter);
        break;
    case SysDevice::HIDRAW:
        describeHidraw(*device, adapter, node);
        break;
    }
    device->properties.add("DEVPATH", device->syspath);
    device->properties.add("SUBSYSTEM", device->subsystem);
    if (kind != SysDevice::USB_DEVICE) {
        device->parent = makeDevice(context, adapter, SysDevice{static_cast<int>(kind) - 1});
    }
    return device;
}

udev_device* asHandle(std::unique_ptr<Device> device)
{
    return handleOf<udev_device>(device.release());
}

// The device for which `matches(adapter, kind)` holds; null, with errno, when there is none.
template <typename Matches>
udev_device* findDevice(udev* context, Matches matches)
{
    for (const Adapter& adapter : listAdapters().value_or(std::vector<Adapter>{})) {
        for (const auto kind : {SysDevice::HIDRAW, SysDevice::HID, SysDevice::USB_INTERFACE, SysDevice::USB_DEVICE}) {
            if (matches(adapter, kind)) {
                return asHandle(makeDevice(context, adapter, kind));
            }
        }
    }
    errno = ENOENT;
    return nullptr;
}

// ---- libudev's enumerations and monitors ----------------------------------------------------------------------------

std::mutex enumerationsMutex;

// An entry whose enumeration is gone stays until the next one gets its address.
std::map<udev_enumerate*, List>& enumerations()
{
    static auto* const map = new std::map<udev_enumerate*, List>; // outlives the program's own destructors
    return *map;
}

// Calls `use` with the list of the enumeration, if it is about hidraw; else returns nothing.
template <typename Use>
auto withList(udev_enumerate* enumeration, Use use)
{
    const std::lock_guard lock(enumerationsMutex);
    const auto found = enumerations().find(enumeration);
    return found == enumerations().end() ? std::nullopt : std::optional(use(found->second));
}

bool isAboutHidraw(const char* subsystem)
{
    return hasHost() && subsystem && std::strcmp(subsystem, NODE_NAME) == 0;
}

bool watchesAdapters(udev_monitor* monitor)
{
    return isConnectionToHost(LIBUDEV(udev_monitor_get_fd, monitor));
}

const char* textOrNull(const std::string& text)
{
    return text.empty() ? nullptr : text.c_str();
}

const char* valueIn(const List& list, const char* name)
{
    const Entry* const entry = name ? list.find(name) : nullptr;
    return entry ? entry->value.c_str() : nullptr;
}

} // namespace

extern "C" {

udev_enumerate* udev_enumerate_new(udev* context)
{
    auto* const enumeration = LIBUDEV(udev_enumerate_new, context);
    const std::lock_guard lock(enumerationsMutex);
    enumerations().erase(enumeration);
    return enumeration;
}

int udev_enumerate_add_match_subsystem(udev_enumerate* enumeration, const char* subsystem)
{
    if (isAboutHidraw(subsystem)) {
        const std::lock_guard lock(enumerationsMutex);
        enumerations()[enumeration];
    }
    return LIBUDEV(udev_enumerate_add_match_subsystem, enumeration, subsystem);
}

int udev_enumerate_add_match_parent(udev_enumerate* enumeration, udev_device* parent)
{
    return objectOf<Device>(parent) ? 0 : LIBUDEV(udev_enumerate_add_match_parent, enumeration, parent);
}

int udev_enumerate_scan_devices(udev_enumerate* enumeration)
{
    const auto scanned = withList(enumeration, [](List& list) {
        list = {};
        for (const Adapter& adapter : listAdapters().value_or(std::vector<Adapter>{})) {
            const unsigned node = nodeNumber(adapter.path).value_or(0);
            list.add(sysPath(privateDirectory(), SysDevice::HIDRAW, node, adapter.productId), "");
        }
        return 0;
    });
    return scanned ? *scanned : LIBUDEV(udev_enumerate_scan_devices, enumeration);
}

udev_list_entry* udev_enumerate_get_list_entry(udev_enumerate* enumeration)
{
    const auto first = withList(enumeration, [](List& list) { return list.first(); });
    return first ? *first : LIBUDEV(udev_enumerate_get_list_entry, enumeration);
}

udev_list_entry* udev_list_entry_get_next(udev_list_entry* entry)
{
    const auto* const own = objectOf<Entry>(entry);
    return own ? handleOf<udev_list_entry>(own->next) : LIBUDEV(udev_list_entry_get_next, entry);
}

udev_list_entry* udev_list_entry_get_by_name(udev_list_entry* entry, const char* name)
{
    auto* own = objectOf<Entry>(entry);
    if (!own) {
        return LIBUDEV(udev_list_entry_get_by_name, entry, name);
    }
    while (own && own->name != name) {
        own = own->next;
    }
    return handleOf<udev_list_entry>(own);
}

const char* udev_list_entry_get_name(udev_list_entry* entry)
{
    const auto* const own = objectOf<Entry>(entry);
    return own ? own->name.c_str() : LIBUDEV(udev_list_entry_get_name, entry);
}

const char* udev_list_entry_get_value(udev_list_entry* entry)
{
    const auto* const own = objectOf<Entry>(entry);
    return own ? own->value.c_str() : LIBUDEV(udev_list_entry_get_value, entry);
}

// A monitor of hidraw hears of the adapters only: its netlink socket gives way to a connection to the host, which
// libudev closes like its own.
int udev_monitor_filter_add_match_subsystem_devtype(udev_monitor* monitor, const char* subsystem, const char* devtype)
{
    if (isAboutHidraw(subsystem)) {
        const FileDescriptor watch = watchAdapters();
        const int socket = LIBUDEV(udev_monitor_get_fd, monitor);
        if (!watch || ::fcntl(watch.get(), F_SETFL, O_NONBLOCK) < 0 || ::dup3(watch.get(), socket, O_CLOEXEC) < 0) {
            return -errno;
        }
        return 0;
    }
    return LIBUDEV(udev_monitor_filter_add_match_subsystem_devtype, monitor, subsystem, devtype);
}

int udev_monitor_filter_update(udev_monitor* monitor)
{
    return watchesAdapters(monitor) ? 0 : LIBUDEV(udev_monitor_filter_update, monitor);
}

int udev_monitor_enable_receiving(udev_monitor* monitor)
{
    return watchesAdapters(monitor) ? 0 : LIBUDEV(udev_monitor_enable_receiving, monitor);
}

udev_device* udev_monitor_receive_device(udev_monitor* monitor)
{
    if (!watchesAdapters(monitor)) {
        return LIBUDEV(udev_monitor_receive_device, monitor);
    }
    const auto event = receiveFields(LIBUDEV(udev_monitor_get_fd, monitor));
    if (!event || event->size() <= AdapterRecord::FIELD_COUNT) {
        return nullptr;
    }
    auto device = makeDevice(LIBUDEV(udev_monitor_get_udev, monitor), adapterFrom(&(*event)[1]), SysDevice::HIDRAW);
    device->action = event->front();
    device->properties.add("ACTION", device->action);
    return asHandle(std::move(device));
}

udev_device* udev_device_new_from_syspath(udev* context, const char* path)
{
    if (!hasHost() || !path || !std::string_view(path).starts_with(privateDirectory())) {
        return LIBUDEV(udev_device_new_from_syspath, context, path);
    }
    return findDevice(context, [path](const Adapter& adapter, SysDevice kind) {
        return path == sysPath(privateDirectory(), kind, nodeNumber(adapter.path).value_or(0), adapter.productId);
    });
}

udev_device* udev_device_new_from_devnum(udev* context, char type, dev_t number)
{
    if (!hasHost() || type != 'c' || major(number) != major(deviceNumber(0))) {
        return LIBUDEV(udev_device_new_from_devnum, context, type, number);
    }
    return findDevice(context, [number](const Adapter& adapter, SysDevice kind) {
        return kind == SysDevice::HIDRAW && deviceNumber(nodeNumber(adapter.path).value_or(0)) == number;
    });
}

udev_device* udev_device_new_from_subsystem_sysname(udev* context, const char* subsystem, const char* name)
{
    if (!isAboutHidraw(subsystem) || !name) {
        return LIBUDEV(udev_device_new_from_subsystem_sysname, context, subsystem, name);
    }
    return findDevice(context, [name](const Adapter& adapter, SysDevice kind) {
        return kind == SysDevice::HIDRAW && sysName(kind, nodeNumber(adapter.path).value_or(0), 0) == name;
    });
}

udev_device* udev_device_ref(udev_device* device)
{
    if (auto* const own = objectOf<Device>(device)) {
        ++own->references;
        return device;
    }
    return LIBUDEV(udev_device_ref, device);
}

udev_device* udev_device_unref(udev_device* device)
{
    auto* const own = objectOf<Device>(device);
    if (!own) {
        return LIBUDEV(udev_device_unref, device);
    }
    if (--own->references == 0) {
        delete own;
    }
    return nullptr;
}

udev* udev_device_get_udev(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? own->context : LIBUDEV(udev_device_get_udev, device);
}

// Lives as long as its child.
udev_device* udev_device_get_parent(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? handleOf<udev_device>(own->parent.get()) : LIBUDEV(udev_device_get_parent, device);
}

udev_device* udev_device_get_parent_with_subsystem_devtype(udev_device* device, const char* subsystem,
                                                           const char* devtype)
{
    const auto* own = objectOf<Device>(device);
    if (!own) {
        return LIBUDEV(udev_device_get_parent_with_subsystem_devtype, device, subsystem, devtype);
    }
    for (auto* parent = own->parent.get(); parent; parent = parent->parent.get()) {
        if (parent->subsystem == subsystem && (!devtype || parent->devtype == devtype)) {
            return handleOf<udev_device>(parent);
        }
    }
    return nullptr;
}

const char* udev_device_get_devpath(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? own->syspath.c_str() : LIBUDEV(udev_device_get_devpath, device);
}

const char* udev_device_get_subsystem(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? own->subsystem.c_str() : LIBUDEV(udev_device_get_subsystem, device);
}

const char* udev_device_get_devtype(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? textOrNull(own->devtype) : LIBUDEV(udev_device_get_devtype, device);
}

const char* udev_device_get_syspath(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? own->syspath.c_str() : LIBUDEV(udev_device_get_syspath, device);
}

const char* udev_device_get_sysname(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? own->sysname.c_str() : LIBUDEV(udev_device_get_sysname, device);
}

const char* udev_device_get_sysnum(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? own->sysname.c_str() + own->sysname.find_last_not_of("0123456789") + 1
               : LIBUDEV(udev_device_get_sysnum, device);
}

const char* udev_device_get_devnode(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? textOrNull(own->devnode) : LIBUDEV(udev_device_get_devnode, device);
}

const char* udev_device_get_driver(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? textOrNull(own->driver) : LIBUDEV(udev_device_get_driver, device);
}

const char* udev_device_get_action(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? textOrNull(own->action) : LIBUDEV(udev_device_get_action, device);
}

const char* udev_device_get_property_value(udev_device* device, const char* name)
{
    const auto* const own = objectOf<Device>(device);
    return own ? valueIn(own->properties, name) : LIBUDEV(udev_device_get_property_value, device, name);
}

const char* udev_device_get_sysattr_value(udev_device* device, const char* name)
{
    const auto* const own = objectOf<Device>(device);
    return own ? valueIn(own->attributes, name) : LIBUDEV(udev_device_get_sysattr_value, device, name);
}

int udev_device_set_sysattr_value(udev_device* device, const char* name, const char* value)
{
    return objectOf<Device>(device) ? -EACCES : LIBUDEV(udev_device_set_sysattr_value, device, name, value);
}

udev_list_entry* udev_device_get_properties_list_entry(udev_device* device)
{
    auto* const own = objectOf<Device>(device);
    return own ? own->properties.first() : LIBUDEV(udev_device_get_properties_list_entry, device);
}

udev_list_entry* udev_device_get_sysattr_list_entry(udev_device* device)
{
    auto* const own = objectOf<Device>(device);
    return own ? own->attributes.first() : LIBUDEV(udev_device_get_sysattr_list_entry, device);
}

udev_list_entry* udev_device_get_devlinks_list_entry(udev_device* device)
{
    return objectOf<Device>(device) ? nullptr : LIBUDEV(udev_device_get_devlinks_list_entry, device);
}

udev_list_entry* udev_device_get_tags_list_entry(udev_device* device)
{
    return objectOf<Device>(device) ? nullptr : LIBUDEV(udev_device_get_tags_list_entry, device);
}

udev_list_entry* udev_device_get_current_tags_list_entry(udev_device* device)
{
    return objectOf<Device>(device) ? nullptr : LIBUDEV(udev_device_get_current_tags_list_entry, device);
}

int udev_device_has_tag(udev_device* device, const char* tag)
{
    return objectOf<Device>(device) ? 0 : LIBUDEV(udev_device_has_tag, device, tag);
}

int udev_device_has_current_tag(udev_device* device, const char* tag)
{
    return objectOf<Device>(device) ? 0 : LIBUDEV(udev_device_has_current_tag, device, tag);
}

int udev_device_get_is_initialized(udev_device* device)
{
    return objectOf<Device>(device) ? 1 : LIBUDEV(udev_device_get_is_initialized, device);
}

dev_t udev_device_get_devnum(udev_device* device)
{
    const auto* const own = objectOf<Device>(device);
    return own ? own->number : LIBUDEV(udev_device_get_devnum, device);
}

unsigned long long udev_device_get_seqnum(udev_device* device)
{
    return objectOf<Device>(device) ? 0 : LIBUDEV(udev_device_get_seqnum, device);
}

unsigned long long udev_device_get_usec_since_initialized(udev_device* device)
{
    return objectOf<Device>(device) ? 0 : LIBUDEV(udev_device_get_usec_since_initialized, device);
}

} // extern "C"
