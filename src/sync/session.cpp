#include "sync/session.hpp"

#include "commands.hpp"

namespace {

constexpr std::size_t SHORTEST_FRAME = 2;        // a transaction id
constexpr std::size_t SHORTEST_NOTIFICATION = 4; // and a code

NotificationKind kindOf(std::uint16_t code)
{
    switch (NotificationCode{code}) {
    case NotificationCode::I3C_HOT_JOIN:
        return NotificationKind::I3C_HOT_JOIN;
    case NotificationCode::I3C_IBI:
        return NotificationKind::I3C_IBI;
    case NotificationCode::GPIO_INTERRUPT:
        return NotificationKind::GPIO_INTERRUPT;
    case NotificationCode::UART_RX:
        return NotificationKind::UART_RX;
    }
    return NotificationKind::UNKNOWN;
}

} // namespace

TarvixSDK::Session::Session(int timeout) : waiter_(timeout)
{
    async_.state_->link.onFrame([this](const std::vector<std::uint8_t>& frame) { handleResponse(frame); });
    async_.state_->link.onLoss([this] {
        waiter_.end(StatusCode::ADAPTER_LOST);
        lossHandler_.call();
    });
}

TarvixSDK::Session::~Session() = default;

void TarvixSDK::Session::handleResponse(const std::vector<std::uint8_t>& frame)
{
    if (frame.size() < SHORTEST_FRAME) {
        return;
    }
    const ResponseFrame response(frame);
    if (response.transactionId() != 0) {
        waiter_.store(response.transactionId(), frame);
    } else if (frame.size() >= SHORTEST_NOTIFICATION) {
        Notification notification{};
        notification.kind = kindOf(response.code());
        notification.data = frame.data();
        notification.length = frame.size();
        notificationHandler_.call(notification);
    }
}

// What is over is closed first: until its reader thread has ended it may still end the waiter's session.
void TarvixSDK::Session::begin(bool strict)
{
    async_.disconnect();
    const std::lock_guard turn(turnMutex_); // calls of the session that is over have left, or are about to
    waiter_.begin(strict);
    strict_ = strict;
}

bool TarvixSDK::Session::connect(const std::string& path, const std::string& serialNumber)
{
    const FrameLink::Lifecycle lifecycle = async_.state_->link.lifecycle();
    if (lifecycle && !async_.isConnected()) {
        begin(false);
    }
    return serialNumber.empty() ? async_.connect(path) : async_.connectWithSerialNumber(serialNumber);
}

OpenResult TarvixSDK::Session::open(const OpenOptions& options)
{
    FrameLink& link = async_.state_->link;
    const FrameLink::Lifecycle lifecycle = link.lifecycle();
    if (lifecycle && !link.isAlive()) {
        begin(options.strict);
        waiter_.forget();
    }
    return link.open(options);
}

void TarvixSDK::Session::disconnect()
{
    if (isInherited()) {
        return;
    }
    const FrameLink::Lifecycle lifecycle = async_.state_->link.lifecycle();
    waiter_.end(StatusCode::NOT_CONNECTED);
    async_.disconnect();
}

TarvixSDK::TarvixSDK() : TarvixSDK(-1) {}

TarvixSDK::TarvixSDK(int timeout) : session_(std::make_unique<Session>(timeout)) {}

TarvixSDK::~TarvixSDK()
{
    if (session_->isInherited()) {
        static_cast<void>(session_.release());
    }
}

bool TarvixSDK::connect(const std::string& path)
{
    return session_->connect(path, {});
}

bool TarvixSDK::connectWithSerialNumber(const std::string& serialNumber)
{
    return session_->connect({}, serialNumber);
}

OpenResult TarvixSDK::open(const OpenOptions& options)
{
    return session_->open(options);
}

bool TarvixSDK::isConnected() const
{
    return session_->async().isConnected();
}

std::uint64_t TarvixSDK::unmatchedResponses() const
{
    return session_->unmatchedResponses();
}

void TarvixSDK::disconnect()
{
    session_->disconnect();
}

void TarvixSDK::onNotification(NotificationHandler handler)
{
    session_->onNotification(std::move(handler));
}

void TarvixSDK::onConnectionLost(ConnectionLostHandler handler)
{
    session_->onConnectionLost(std::move(handler));
}

std::string TarvixSDK::getVersion()
{
    return TarvixAsyncSDK::getVersion();
}
