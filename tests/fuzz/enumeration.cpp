// Whatever a list of HID devices says: strings of no characters, no strings, no path, one device many times.
#include <cstring>
#include <hidapi.h>
#include <memory>
#include <stdexcept>
#include <utility>

#include "fuzz.hpp"
#include "ports/shared/utf8.hpp"
#include "tarvixsdk/flat.h"
#include "transport/enumeration.hpp"

namespace {

Bytes list;

// One byte for "null" and the length; narrow characters below 0x80, and above them any number of 32 bits.
wchar_t* wideText(fuzz::Input& input)
{
    const unsigned head = input.u8();
    if (head == 0xFF) {
        return nullptr;
    }
    auto* const text = static_cast<wchar_t*>(std::calloc(head % 16 + 1, sizeof(wchar_t)));
    for (unsigned i = 0; i < head % 16; ++i) {
        const unsigned byte = input.u8();
        text[i] = static_cast<wchar_t>(byte < 0x80 ? byte : input.u16() | static_cast<unsigned>(input.u16()) << 16);
    }
    return text;
}

} // namespace

hid_device_info* hid_enumerate(unsigned short, unsigned short)
{
    fuzz::Input input(list.data(), list.size());
    hid_device_info* first = nullptr;
    while (!input.empty()) {
        const unsigned kind = input.u8();
        auto* const info = static_cast<hid_device_info*>(std::calloc(1, sizeof(hid_device_info)));
        info->vendor_id = kind % 2 == 0 ? 0x1FC9 : input.u16();
        info->product_id = kind % 4 < 2 ? 0x82FC : kind % 8 < 4 ? 0x82FD : input.u16();
        info->path = kind >= 0xF0 ? nullptr : ::strdup(("/dev/hidraw" + std::to_string(input.u8() % 4)).c_str());
        info->serial_number = wideText(input);
        info->manufacturer_string = wideText(input);
        info->product_string = wideText(input);
        info->next = first;
        first = info;
    }
    return first;
}

void hid_free_enumeration(hid_device_info* info)
{
    while (info != nullptr) {
        for (void* const text :
             {static_cast<void*>(info->path), static_cast<void*>(info->serial_number),
              static_cast<void*>(info->manufacturer_string), static_cast<void*>(info->product_string)}) {
            std::free(text);
        }
        std::free(std::exchange(info, info->next));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const Bytes filter = input.bytes(input.u8() % 8);
    const std::string serial(filter.begin(), filter.end());
    list = input.rest();
    TarvixSDK_AdapterInfo* adapters = nullptr;
    const std::size_t count = TarvixSDK_ListAdapters(&adapters);
    for (std::size_t i = 0; i < count; ++i) {
        for (const char* const text : {adapters[i].path, adapters[i].serialNumber, adapters[i].manufacturer,
                                       adapters[i].product, adapters[i].usbPort}) {
            fuzz::require(text != nullptr && sim::fromUtf8(text).has_value(), "a text is UTF-8");
        }
        fuzz::require(adapters[i].reportSize == 64 || adapters[i].reportSize == 1024, "adapters come in two sizes");
    }
    try {
        const auto found = findDevice("", serial);
        fuzz::require(!found || count > 0, "what is found is listed");
    } catch (const std::range_error&) {
        fuzz::require(!serial.empty(), "serial numbers are converted only to be compared");
    }
    TarvixSDK_FreeAdapters(adapters);
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    return {hex("03 54 56 58 00 01 03 54 56 58 01 41 FF 04 02 01 42 43 FF"), hex("00 F0 01 80 00 D8 00 00 00 00"),
            hex("01 54 00 00 01 80 16 04 00 00 01 80 FF FF FF FF 01 80 00 DC 00 00")};
}
