#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "flat/call.hpp"
#include "flat/handle.hpp"
#include "tarvixsdk/flat.h"

namespace {

// To the callback that takes a copy in a record.
void deliverRecord(TarvixSDK_Handle& handle, const Notification& received)
{
    const TarvixSDK_NotificationCallback callback = handle.notificationCallback;
    if (callback == nullptr) {
        return;
    }
    auto& buffer = handle.notificationBuffer;
    std::copy_n(received.data, std::min(received.length, buffer.size()), buffer.begin());
    // Eight bits: the length of a longer frame is 0, not its low byte, so that no view accepts it.
    handle.notificationLength = received.length > buffer.size() ? 0 : static_cast<std::uint8_t>(received.length);

    Notification copy{};
    copy.kind = received.kind;
    copy.data = buffer.data();
    copy.length = handle.notificationLength;
    callback(&copy);
}

template <typename View>
bool holds(const Notification* notification, const View* view, NotificationKind kind, std::size_t shortest)
{
    return notification != nullptr && view != nullptr && notification->kind == kind && notification->length >= shortest;
}

} // namespace

void TarvixSDK_Handle::receive(const Notification& notification)
{
    queue.put({notification.data, notification.length});
    frameHandler.call(notification.data, notification.length);
    deliverRecord(*this, notification);
}

void TarvixSDK_Handle::loseConnection()
{
    if (!sdk->isConnected()) { // a plain session goes on trying
        queue.end(StatusCode::ADAPTER_LOST);
    }
    lossHandler.call();
}

void TarvixSDK_onNotification(TarvixSDK_Handle* handle, TarvixSDK_NotificationCallback callback)
{
    handle->notificationCallback = callback;
}

void TarvixSDK_OnNotificationFrame(TarvixSDK_Handle* handle, TarvixSDK_FrameCallback callback, void* context)
{
    if (handle == nullptr) {
        return;
    }
    if (callback == nullptr) {
        handle->frameHandler.set({});
        return;
    }
    handle->frameHandler.set([=](const std::uint8_t* frame, std::size_t length) { callback(context, frame, length); });
}

void TarvixSDK_OnConnectionLost(TarvixSDK_Handle* handle, TarvixSDK_LossCallback callback, void* context)
{
    if (handle == nullptr) {
        return;
    }
    if (callback == nullptr) {
        handle->lossHandler.set({});
        return;
    }
    handle->lossHandler.set([=] { callback(context); });
}

StatusCode TarvixSDK_NextNotification(TarvixSDK_Handle* handle, std::uint8_t* buffer, std::size_t capacity,
                                      std::size_t* length, int timeout)
{
    return call(handle, length != nullptr && isArray(buffer, capacity), [&](TarvixSDK&) {
        if (!handle->home.isHere()) {
            return StatusCode::NOT_CONNECTED;
        }
        return handle->queue.take({buffer, capacity}, *length, timeout);
    });
}

std::uint64_t TarvixSDK_DroppedNotifications(TarvixSDK_Handle* handle)
{
    return handle == nullptr || !handle->home.isHere() ? 0 : handle->queue.dropped();
}

// The views do not use the accessors of Notification: those write into the record, which a C caller may keep in
// read-only memory, and they bound the lengths, which a view reports as declared.

bool TarvixSDK_notificationAsGpio(const Notification* notification, GpioInterruptNotification* view)
{
    if (!holds(notification, view, NotificationKind::GPIO_INTERRUPT, 7)) {
        return false;
    }
    view->pinNumber = notification->data[6];
    return true;
}

bool TarvixSDK_notificationAsI3cIbi(const Notification* notification, I3cIbiNotification* view)
{
    if (!holds(notification, view, NotificationKind::I3C_IBI, 8)) {
        return false;
    }
    view->targetAddress = notification->data[6];
    view->payload = notification->data + 8;
    view->payloadLength = notification->data[7];
    return true;
}

bool TarvixSDK_notificationAsI3cHotJoin(const Notification* notification, I3cHotJoinNotification* view)
{
    if (!holds(notification, view, NotificationKind::I3C_HOT_JOIN, 15)) {
        return false;
    }
    std::copy_n(notification->data + 6, sizeof view->provisionalId, view->provisionalId);
    view->bcr = notification->data[12];
    view->dcr = notification->data[13];
    view->dynamicAddress = notification->data[14];
    return true;
}

bool TarvixSDK_notificationAsUartRx(const Notification* notification, UartRxNotification* view)
{
    if (!holds(notification, view, NotificationKind::UART_RX, 8)) {
        return false;
    }
    view->data = notification->data + 8;
    view->dataLength = static_cast<std::size_t>(notification->data[6] | notification->data[7] << 8);
    return true;
}
