#include "transport/enumeration.hpp"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <hidapi.h>

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

bool isUnicode(char32_t code)
{
    return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

void appendUtf8(std::string& text, char32_t code)
{
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    const int continuations = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    text += static_cast<char>(0xFF00U >> (continuations + 1) | code >> 6 * continuations);
    for (int shift = 6 * (continuations - 1); shift >= 0; shift -= 6) {
        text += static_cast<char>(0x80U | (code >> shift & 0x3FU));
    }
}

std::string toUtf8(std::wstring_view wide)
{
    std::string text;
    for (const wchar_t character : wide) {
        const auto code = static_cast<char32_t>(character);
        if (!isUnicode(code)) {
            throw std::range_error("bad conversion");
        }
        appendUtf8(text, code);
    }
    return text;
}

// For people to read: null is empty, and what is no character is replaced.
std::string toText(const wchar_t* wide)
{
    std::string text;
    for (; wide != nullptr && *wide != L'\0'; ++wide) {
        const auto code = static_cast<char32_t>(*wide);
        appendUtf8(text, isUnicode(code) ? code : REPLACEMENT);
    }
    return text;
}

const DeviceKind* findKind(const hid_device_info& info)
{
    const auto* const kind = std::find_if(DEVICE_CATALOGUE.begin(), DEVICE_CATALOGUE.end(), [&](const DeviceKind& row) {
        return row.vendorId == info.vendor_id && row.productId == info.product_id;
    });
    return kind == DEVICE_CATALOGUE.end() ? nullptr : kind;
}

// The USB interface above a hidraw node is named after its port: "1-4.2:1.0" is interface 0 at port 2 of the hub at
// port 4 of bus 1.
std::string usbPortOf(const std::string& node)
{
    namespace fs = std::filesystem;
    if (fs::path(node).parent_path() != "/dev") { // a path of the virtual adapter's
        return "";
    }
    std::error_code error;
    const fs::path device = fs::canonical("/sys/class/hidraw" / fs::path(node).filename() / "device", error);
    const std::string interface = device.parent_path().filename();
    const std::size_t colon = interface.find(':');
    return error || colon == std::string::npos || interface.find('-') > colon ? "" : interface.substr(0, colon);
}

template <typename Visitor>
void forEachDevice(Visitor visit) // until `visit` returns false
{
    const std::unique_ptr<hid_device_info, void (*)(hid_device_info*)> devices(hid_enumerate(0, 0),
                                                                               hid_free_enumeration);
    for (const hid_device_info* info = devices.get(); info != nullptr; info = info->next) {
        if (info->path != nullptr && !visit(*info)) {
            return;
        }
    }
}

} // namespace

std::mutex& hidapiMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::optional<FoundDevice> findDevice(const std::string& path, const std::string& serial)
{
    std::optional<FoundDevice> found;
    forEachDevice([&](const hid_device_info& info) {
        if (!serial.empty() && (info.serial_number == nullptr || toUtf8(info.serial_number) != serial)) {
            return true;
        }
        const DeviceKind* const kind = findKind(info);
        if (kind != nullptr && (path.empty() || path == info.path)) {
            found = FoundDevice{kind->reportSize, info.path};
        }
        return !found;
    });
    return found;
}

std::vector<AdapterInfo> enumerateAdapters()
{
    std::vector<AdapterInfo> adapters;
    forEachDevice([&](const hid_device_info& info) {
        // hidapi lists a device once for each of its top-level collections.
        const bool isKnown = std::any_of(adapters.begin(), adapters.end(),
                                         [&](const AdapterInfo& other) { return other.path == info.path; });
        if (const DeviceKind* const kind = findKind(info); kind != nullptr && !isKnown) {
            adapters.push_back({.path = info.path,
                                .serialNumber = toText(info.serial_number),
                                .manufacturer = toText(info.manufacturer_string),
                                .product = toText(info.product_string),
                                .usbPort = usbPortOf(info.path),
                                .vendorId = kind->vendorId,
                                .productId = kind->productId,
                                .reportSize = kind->reportSize});
        }
        return true;
    });
    return adapters;
}
