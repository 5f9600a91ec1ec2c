#include "trace/preload/adapter.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/hidraw.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

#include "trace/preload/system.hpp"

namespace recorder {

namespace {

std::string_view lastPart(std::string_view path)
{
    while (true) {
        const auto slash = path.find('/');
        if (slash == path.npos) {
            return path;
        }
        path.remove_prefix(slash + 1);
    }
}

bool isNodeName(std::string_view name)
{
    constexpr std::string_view NODE = "hidraw";
    return name.starts_with(NODE) && name.size() > NODE.size() && name.size() < NODE.size() + 5 &&
           name.find_first_not_of("0123456789", NODE.size()) == name.npos;
}

// The beginning of a file of sysfs; empty for none.
std::array<char, 256> textIn(const char* directory, int size, const char* name, const char* below)
{
    std::array<char, PATH_MAX> path{};
    std::array<char, 256> text{};
    std::snprintf(path.data(), path.size(), "%s/%.*s/%s", directory, size, name, below);
    const int file = preload::nextOpen.get()(path.data(), O_RDONLY | O_CLOEXEC, 0);
    if (file >= 0) {
        next::read.get()(file, text.data(), text.size() - 1);
        next::close.get()(file);
    }
    return text;
}

// 0 for none.
unsigned numberIn(const char* directory, int size, const char* name, const char* below)
{
    return static_cast<unsigned>(std::strtoul(textIn(directory, size, name, below).data(), nullptr, 10));
}

// FNV-1a
std::uint32_t hashOf(std::string_view text)
{
    std::uint32_t hash = 2166136261u;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    }
    return hash;
}

} // namespace

void locate(Adapter& adapter, const char* path)
{
    std::snprintf(adapter.path, sizeof adapter.path, "%s", path);
    const std::string_view name = lastPart(path);
    unsigned bus = 0;
    unsigned device = 0;
    if (isNodeName(name) && std::strncmp(path, "/dev/", 5) == 0) {
        bus = numberIn("/sys/class/hidraw", static_cast<int>(name.size()), name.data(), "device/../../busnum");
        device = numberIn("/sys/class/hidraw", static_cast<int>(name.size()), name.data(), "device/../../devnum");
    } else if (*path >= '0' && *path <= '9') { // PORT:INTERFACE
        const auto size = static_cast<int>(std::strcspn(path, ":"));
        bus = numberIn("/sys/bus/usb/devices", size, path, "busnum");
        device = numberIn("/sys/bus/usb/devices", size, path, "devnum");
    }
    const std::uint32_t hash = hashOf(path);
    const bool known = bus > 0 && device > 0;
    adapter.bus = static_cast<std::uint16_t>(known ? bus : 0x4000 | (hash >> 8 & 0x3FFF)); // more than a machine has
    adapter.device = static_cast<std::uint8_t>(known ? device : 1 + hash % 127);
}

bool isAnothers(const char* path)
{
    const std::string_view name = lastPart(path);
    if (!isNodeName(name)) {
        return false;
    }
    const auto text = textIn("/sys/class/hidraw", static_cast<int>(name.size()), name.data(), "device/uevent");
    const char* const ids = std::strstr(text.data(), "HID_ID=");
    unsigned vendor = 0;
    unsigned product = 0;
    return ids && std::sscanf(ids, "HID_ID=%*x:%x:%x", &vendor, &product) == 2 &&
           !isAdapter(static_cast<std::uint16_t>(vendor), static_cast<std::uint16_t>(product));
}

bool isNode(const char* path, int descriptor)
{
    if (isNodeName(lastPart(path))) {
        return true;
    }
    if (std::strncmp(path, "/dev/", 5) != 0) {
        return false;
    }
    std::array<char, 64> link{};
    std::array<char, PATH_MAX> target{};
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", descriptor);
    const ssize_t size = ::readlink(link.data(), target.data(), target.size());
    return size > 0 && isNodeName(lastPart({target.data(), static_cast<std::size_t>(size)}));
}

bool identify(Adapter& adapter, int descriptor)
{
    hidraw_devinfo info{};
    if (::ioctl(descriptor, HIDIOCGRAWINFO, &info) < 0) {
        return false;
    }
    adapter.vendor = static_cast<std::uint16_t>(info.vendor);
    adapter.product = static_cast<std::uint16_t>(info.product);
    ::ioctl(descriptor, HIDIOCGRAWUNIQ(sizeof adapter.serial - 1), adapter.serial);
    return true;
}

} // namespace recorder
