#include "tarvixsdk/adapters.hpp"

#include <mutex>

#include "transport/enumeration.hpp"

std::vector<AdapterInfo> listAdapters()
{
    const std::lock_guard lock(hidapiMutex());
    return enumerateAdapters();
}

const char* statusName(StatusCode status)
{
    switch (status) {
    case StatusCode::SUCCESS:
        return "SUCCESS";
    case StatusCode::NO_RESPONSE:
        return "NO_RESPONSE";
    case StatusCode::NOT_CONNECTED:
        return "NOT_CONNECTED";
    case StatusCode::UNEXPECTED_RESPONSE:
        return "UNEXPECTED_RESPONSE";
    case StatusCode::INVALID_ARGUMENT:
        return "INVALID_ARGUMENT";
    case StatusCode::RESPONSE_TOO_SHORT:
        return "RESPONSE_TOO_SHORT";
    case StatusCode::ADAPTER_LOST:
        return "ADAPTER_LOST";
    }
    return nullptr;
}
