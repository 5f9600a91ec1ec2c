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
    async_.onResponse([this](const std::vector<std::uint8_t>& frame) { handleResponse(frame); });
}

TarvixSDK::Session::~Session() = default;

void TarvixSDK::Session::handleResponse(const std::vector<std::uint8_t>& frame)
{
    if (frame.size() < SHORTEST_FRAME) {
        return;
    }
    const ResponseFrame response(frame);
    if (response.transactionId() != 0) {
        waiter_.store(frame);
    } else if (frame.size() >= SHORTEST_NOTIFICATION) {
        Notification notification{};
        notification.kind = kindOf(response.code());
        notification.data = frame.data();
        notification.length = frame.size();
        notificationHandler_.call(notification);
    }
}

TarvixSDK::TarvixSDK() : TarvixSDK(-1) {}

TarvixSDK::TarvixSDK(int timeout) : session_(std::make_unique<Session>(timeout)) {}

TarvixSDK::~TarvixSDK() = default;

bool TarvixSDK::connect(const std::string& path)
{
    return session_->async().connect(path);
}

bool TarvixSDK::connectWithSerialNumber(const std::string& serialNumber)
{
    return session_->async().connectWithSerialNumber(serialNumber);
}

void TarvixSDK::disconnect()
{
    session_->async().disconnect();
}

void TarvixSDK::onNotification(NotificationHandler handler)
{
    session_->onNotification(std::move(handler));
}

std::string TarvixSDK::getVersion()
{
    return TarvixAsyncSDK::getVersion();
}
