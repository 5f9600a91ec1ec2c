#include "async/request_frame.hpp"
#include "async/state.hpp"
#include "tarvixsdk/async_sdk.hpp"

TarvixAsyncSDK::TarvixAsyncSDK() : state_(std::make_unique<State>()) {}

TarvixAsyncSDK::~TarvixAsyncSDK() = default;

bool TarvixAsyncSDK::connect(const std::string& path)
{
    state_->connected = state_->link.connect(path, {});
    return state_->connected;
}

bool TarvixAsyncSDK::connectWithSerialNumber(const std::string& serialNumber)
{
    state_->connected = state_->link.connect({}, serialNumber);
    return state_->connected;
}

void TarvixAsyncSDK::disconnect()
{
    state_->link.disconnect();
    state_->connected = false;
}

bool TarvixAsyncSDK::isConnected() const
{
    return state_->connected;
}

void TarvixAsyncSDK::onResponse(ResponseHandler handler)
{
    state_->link.onFrame(std::move(handler));
}

std::string TarvixAsyncSDK::getVersion()
{
    return TARVIXSDK_VERSION;
}

// The end of every command: the connection is tested before the arguments, and the result of the writes is deliberately
// not looked at. A frame that never reached the adapter shows as a missing response.
StatusCode TarvixAsyncSDK::send(const RequestFrame& frame)
{
    if (!state_->connected) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!frame.valid()) {
        return StatusCode::INVALID_ARGUMENT;
    }
    state_->link.send(frame.wire());
    return StatusCode::SUCCESS;
}
