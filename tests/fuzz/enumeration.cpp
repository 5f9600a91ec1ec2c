// Whatever a list of HID devices says: strings of no characters, no strings, no path, one device many times.
#include <hidapi.h>
#include <list>
#include <memory>
#include <stdexcept>

#include "fuzz.hpp"
#include "ports/shared/utf8.hpp"
#include "tarvixsdk/flat.h"
#include "transport/enumeration.hpp"

struct Device {
    hid_device_info info{};
    std::string path;
    std::vector<wchar_t> texts[3];
};

static Bytes listed;
static std::list<Device> devices; // from when they are enumerated until they are freed

// One byte for "null" and the length; narrow characters below 0x80, and above them any number of 32 bits.
static wchar_t* wideText(fuzz::Input& input, std::vector<wchar_t>& text)
{
    const unsigned head = input.u8();
    text.resize(head == 0xFF ? 0 : head % 16 + 1);
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        const unsigned byte = input.u8();
        text[i] = static_cast<wchar_t>(byte < 0x80 ? byte : input.u16() | static_cast<unsigned>(input.u16()) << 16);
    }
    return text.empty() ? nullptr : text.data();
}

static void add(fuzz::Input& input)
{
    hid_device_info* const next = devices.empty() ? nullptr : &devices.back().info;
    auto& [info, path, texts] = devices.emplace_back();
    const unsigned kind = input.u8();
    info.vendor_id = kind % 2 == 0 ? 0x1FC9 : input.u16();
    info.product_id = kind % 4 < 2 ? 0x82FC : kind % 8 < 4 ? 0x82FD : input.u16();
    info.path = kind >= 0xF0 ? nullptr : (path = "/dev/hidraw" + std::to_string(input.u8() % 4)).data();
    info.serial_number = wideText(input, texts[0]);
    info.manufacturer_string = wideText(input, texts[1]);
    info.product_string = wideText(input, texts[2]);
    info.next = next;
}

hid_device_info* hid_enumerate(unsigned short, unsigned short)
{
    for (fuzz::Input input(listed); !input.empty();) {
        add(input);
    }
    return devices.empty() ? nullptr : &devices.back().info;
}

void hid_free_enumeration(hid_device_info*)
{
    devices.clear();
}

void fuzz::run(Input input)
{
    const Bytes filter = input.bytes(input.u8() % 8);
    const std::string serial(filter.begin(), filter.end());
    listed = input.rest();
    TarvixSDK_AdapterInfo* adapters = nullptr;
    const std::size_t count = TarvixSDK_ListAdapters(&adapters);
    for (const TarvixSDK_AdapterInfo& info : std::span(adapters, count)) {
        for (const char* const text : {info.path, info.serialNumber, info.manufacturer, info.product, info.usbPort}) {
            require(text != nullptr && sim::fromUtf8(text).has_value(), "a text is UTF-8");
        }
        require(info.reportSize == 64 || info.reportSize == 1024, "adapters come in two sizes");
    }
    try {
        const auto found = findDevice("", serial);
        require(!found || count > 0, "what is found is listed");
    } catch (const std::range_error&) {
        require(!serial.empty(), "serial numbers are converted only to be compared");
    }
    TarvixSDK_FreeAdapters(adapters);
}
