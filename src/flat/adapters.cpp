#include "tarvixsdk/adapters.hpp"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "tarvixsdk/flat.h"

namespace {

struct TextField {
    std::string AdapterInfo::*source;
    const char* TarvixSDK_AdapterInfo::*text;
};

constexpr TextField TEXT_FIELDS[]{
    {&AdapterInfo::path, &TarvixSDK_AdapterInfo::path},
    {&AdapterInfo::serialNumber, &TarvixSDK_AdapterInfo::serialNumber},
    {&AdapterInfo::manufacturer, &TarvixSDK_AdapterInfo::manufacturer},
    {&AdapterInfo::product, &TarvixSDK_AdapterInfo::product},
    {&AdapterInfo::usbPort, &TarvixSDK_AdapterInfo::usbPort},
};

std::size_t textBytes(const std::vector<AdapterInfo>& adapters)
{
    std::size_t bytes = 0;
    for (const AdapterInfo& adapter : adapters) {
        for (const TextField& field : TEXT_FIELDS) {
            bytes += (adapter.*field.source).size() + 1;
        }
    }
    return bytes;
}

} // namespace

// One block of malloc's: the records, and after them their texts.
std::size_t TarvixSDK_ListAdapters(TarvixSDK_AdapterInfo** adapters)
{
    const std::vector<AdapterInfo> found = listAdapters();
    if (adapters == nullptr || found.empty()) {
        if (adapters != nullptr) {
            *adapters = nullptr;
        }
        return found.size();
    }
    const std::size_t records = found.size() * sizeof(TarvixSDK_AdapterInfo);
    auto* const block = static_cast<char*>(std::malloc(records + textBytes(found)));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    auto* record = reinterpret_cast<TarvixSDK_AdapterInfo*>(block);
    *adapters = record;
    char* text = block + records;
    for (const AdapterInfo& adapter : found) {
        new (record) TarvixSDK_AdapterInfo{};
        for (const TextField& field : TEXT_FIELDS) {
            const std::string& source = adapter.*field.source;
            record->*field.text = text;
            std::memcpy(text, source.c_str(), source.size() + 1);
            text += source.size() + 1;
        }
        record->vendorId = adapter.vendorId;
        record->productId = adapter.productId;
        record->reportSize = static_cast<std::uint32_t>(adapter.reportSize);
        ++record;
    }
    return found.size();
}

void TarvixSDK_FreeAdapters(TarvixSDK_AdapterInfo* adapters)
{
    std::free(adapters);
}

const char* TarvixSDK_StatusName(StatusCode status)
{
    return statusName(status);
}
