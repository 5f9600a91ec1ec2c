#include "async/state.hpp"

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

StatusCode TarvixAsyncSDK::State::send(const RequestFrame& frame)
{
    if (!connected) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!frame.valid()) {
        return StatusCode::INVALID_ARGUMENT;
    }
    link.send(frame.wire());
    return StatusCode::SUCCESS;
}
