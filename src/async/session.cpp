#include "async/state.hpp"
#include "transport/reader_signals.hpp"

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

OpenResult TarvixAsyncSDK::open(const OpenOptions& options)
{
    OpenResult result = state_->link.open(options);
    state_->connected = result.status == OpenStatus::OPENED;
    return result;
}

void TarvixAsyncSDK::disconnect()
{
    if (state_->link.isStrict()) {
        state_->connected = false; // also for calls on other threads, and when closing is refused
    }
    state_->link.disconnect();
    state_->connected = false;
}

bool TarvixAsyncSDK::isConnected() const
{
    return state_->connection() == StatusCode::SUCCESS;
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
    if (const StatusCode status = connection(); status != StatusCode::SUCCESS) {
        return status;
    }
    if (!frame.valid()) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return link.send(frame.wire()) ? StatusCode::SUCCESS : StatusCode::NO_RESPONSE;
}
