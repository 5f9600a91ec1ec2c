#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

#include "flat/handle.hpp"
#include "tarvixsdk/flat.h"

namespace {

// An error while connecting becomes a plain failure. Running out of memory is not a runtime_error and passes through.
template <typename Connect>
bool connected(TarvixSDK_Handle* handle, Connect connect)
{
    if (handle == nullptr) {
        return false;
    }
    try {
        const bool isConnected = connect(*handle->sdk);
        if (isConnected) {
            handle->begin();
        }
        return isConnected;
    } catch (const std::runtime_error&) {
        return false;
    }
}

OpenResult open(TarvixSDK_Handle* handle, const OpenOptions& options)
{
    if (handle == nullptr) {
        return {OpenStatus::FAILED, {}, 0, "no handle"};
    }
    try {
        OpenResult result = handle->sdk->open(options);
        if (result) {
            handle->begin();
        }
        return result;
    } catch (const std::runtime_error& error) {
        return {OpenStatus::FAILED, {}, 0, error.what()};
    }
}

// Cut, if need be, between two characters of UTF-8.
template <std::size_t Size>
void copyText(const std::string& text, char (&out)[Size])
{
    std::size_t size = std::min(text.size(), Size - 1);
    while (size > 0 && size < text.size() && (text[size] & 0xC0) == 0x80) {
        --size;
    }
    out[text.copy(out, size)] = '\0';
}

std::string orEmpty(const char* text)
{
    return text == nullptr ? "" : text;
}

} // namespace

TarvixSDK_Handle::TarvixSDK_Handle(int timeout) : sdk(std::make_unique<TarvixSDK>(timeout))
{
    sdk->onNotification([this](const Notification& notification) { receive(notification); });
    sdk->onConnectionLost([this] { loseConnection(); });
}

TarvixSDK_Handle* TarvixSDK_Create(int timeout)
{
    return new TarvixSDK_Handle(timeout);
}

void TarvixSDK_Destroy(TarvixSDK_Handle* handle)
{
    if (handle != nullptr && handle->home.isHere()) {
        delete handle;
    }
}

bool TarvixSDK_Connect(TarvixSDK_Handle* handle, const char* path)
{
    return connected(handle, [path](TarvixSDK& sdk) { return sdk.connect(orEmpty(path)); });
}

OpenStatus TarvixSDK_Open(TarvixSDK_Handle* handle, const char* path, const char* serialNumber, std::uint32_t flags,
                          TarvixSDK_OpenResult* result)
{
    OpenOptions options;
    options.path = orEmpty(path);
    options.serialNumber = orEmpty(serialNumber);
    options.exclusive = (flags & TARVIXSDK_OPEN_SHARED) == 0;
    options.strict = (flags & TARVIXSDK_OPEN_PLAIN) == 0;
    const OpenResult opened = open(handle, options);
    if (result != nullptr) {
        result->status = opened.status;
        result->holder = opened.holder;
        copyText(opened.path, result->path);
        copyText(opened.message, result->message);
    }
    return opened.status;
}

bool TarvixSDK_IsConnected(TarvixSDK_Handle* handle)
{
    return handle != nullptr && handle->sdk->isConnected();
}

bool TarvixSDK_ConnectWithSerialNumber(TarvixSDK_Handle* handle, const char* serialNumber)
{
    return connected(handle, [serialNumber](TarvixSDK& sdk) { return sdk.connectWithSerialNumber(serialNumber); });
}

void TarvixSDK_Disconnect(TarvixSDK_Handle* handle)
{
    if (handle == nullptr || !handle->home.isHere()) {
        return;
    }
    try {
        handle->sdk->disconnect();
    } catch (const std::system_error&) {
        // On the reader thread, which cannot wait for itself. It has been told to stop; another thread's disconnect
        // closes the adapter.
    }
    handle->queue.end(StatusCode::NOT_CONNECTED); // when no notification comes any more
}

const char* TarvixSDK_GetVersion()
{
    return TARVIXSDK_VERSION;
}
