#include "async/state.hpp"
#include "transport/reader_signals.hpp"

TarvixAsyncSDK::TarvixAsyncSDK() : state_(std::make_unique<State>()) {}

TarvixAsyncSDK::~TarvixAsyncSDK()
{
    if (state_->link.isInherited()) {
        static_cast<void>(state_.release());
    }
}

bool TarvixAsyncSDK::connect(const std::string& path)
{
    return state_->link.connect(path, {});
}

bool TarvixAsyncSDK::connectWithSerialNumber(const std::string& serialNumber)
{
    return state_->link.connect({}, serialNumber);
}

OpenResult TarvixAsyncSDK::open(const OpenOptions& options)
{
    return state_->link.open(options);
}

void TarvixAsyncSDK::disconnect()
{
    state_->link.disconnect();
}

bool TarvixAsyncSDK::isConnected() const
{
    return state_->link.connection() == StatusCode::SUCCESS;
}

void TarvixAsyncSDK::onResponse(ResponseHandler handler)
{
    state_->link.onFrame(withApplicationSignals(std::move(handler)));
}

void TarvixAsyncSDK::onConnectionLost(ConnectionLostHandler handler)
{
    state_->link.onLoss(withApplicationSignals(std::move(handler)));
}

std::string TarvixAsyncSDK::getVersion()
{
    return TARVIXSDK_VERSION;
}

StatusCode TarvixAsyncSDK::State::send(const RequestFrame& frame)
{
    if (const StatusCode connection = link.connection(); connection != StatusCode::SUCCESS) {
        return connection;
    }
    if (!frame.valid()) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return link.send(frame.wire()) ? StatusCode::SUCCESS : StatusCode::NO_RESPONSE;
}
