#include <stdexcept>
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
        return connect(*handle->sdk);
    } catch (const std::runtime_error&) {
        return false;
    }
}

} // namespace

TarvixSDK_Handle* TarvixSDK_Create(int timeout)
{
    return new TarvixSDK_Handle(timeout);
}

void TarvixSDK_Destroy(TarvixSDK_Handle* handle)
{
    delete handle;
}

bool TarvixSDK_Connect(TarvixSDK_Handle* handle, const char* path)
{
    return connected(handle, [path](TarvixSDK& sdk) { return sdk.connect(path == nullptr ? "" : path); });
}

bool TarvixSDK_ConnectWithSerialNumber(TarvixSDK_Handle* handle, const char* serialNumber)
{
    return connected(handle, [serialNumber](TarvixSDK& sdk) { return sdk.connectWithSerialNumber(serialNumber); });
}

void TarvixSDK_Disconnect(TarvixSDK_Handle* handle)
{
    if (handle == nullptr) {
        return;
    }
    try {
        handle->sdk->disconnect();
    } catch (const std::system_error&) {
        // On the reader thread, which cannot wait for itself. It has been told to stop; another thread's disconnect
        // closes the adapter.
    }
}

const char* TarvixSDK_GetVersion()
{
    return TARVIXSDK_VERSION;
}
