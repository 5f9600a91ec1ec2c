#include "adapter/notifications.hpp"

#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/event_queue.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/text.hpp"
#include "console/waiting.hpp"

namespace tool {

namespace {

constexpr std::size_t LARGEST_QUEUE = 16 << 20; // bytes

const char* name(NotificationKind kind)
{
    switch (kind) {
    case NotificationKind::I3C_HOT_JOIN:
        return "i3c-hot-join";
    case NotificationKind::I3C_IBI:
        return "i3c-ibi";
    case NotificationKind::GPIO_INTERRUPT:
        return "gpio";
    case NotificationKind::UART_RX:
        return "uart";
    case NotificationKind::UNKNOWN:
        break;
    }
    return "unknown";
}

} // namespace

Event decode(const Notification& notification)
{
    Event event;
    event.time = std::chrono::system_clock::now();
    event.kind = notification.kind;
    event.complete = true;
    if (const auto* gpio = notification.gpio()) {
        event.pin = gpio->pinNumber;
    } else if (const auto* ibi = notification.i3cIbi()) {
        event.address = ibi->targetAddress;
        event.data.assign(ibi->payload, ibi->payload + ibi->payloadLength);
    } else if (const auto* hotJoin = notification.i3cHotJoin()) {
        event.address = hotJoin->dynamicAddress;
        event.pid.assign(std::begin(hotJoin->provisionalId), std::end(hotJoin->provisionalId));
        event.bcr = hotJoin->bcr;
        event.dcr = hotJoin->dcr;
    } else if (const auto* uart = notification.uartRx()) {
        event.data.assign(uart->data, uart->data + uart->dataLength);
    } else {
        event.complete = false;
        event.data.assign(notification.data, notification.data + notification.length);
    }
    return event;
}

std::string timeText(std::chrono::system_clock::time_point time)
{
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(static_cast<std::time_t>(seconds.count())),
                       (sinceEpoch - seconds).count());
}

std::string describe(const Event& event)
{
    if (!event.complete) {
        return fmt::format("{} frame={}", name(event.kind), toHex(event.data));
    }
    switch (event.kind) {
    case NotificationKind::GPIO_INTERRUPT:
        return fmt::format("gpio pin={}", event.pin);
    case NotificationKind::I3C_IBI:
        return fmt::format("i3c-ibi address=0x{:02x} payload={}", event.address, toHex(event.data));
    case NotificationKind::I3C_HOT_JOIN:
        return fmt::format("i3c-hot-join address=0x{:02x} pid={} bcr=0x{:02x} dcr=0x{:02x}", event.address,
                           toHex(event.pid), event.bcr, event.dcr);
    default:
        return fmt::format("uart {}  |{}|", toHexWords(event.data), toPrintable(event.data));
    }
}

Json toJson(const Event& event)
{
    Json fields{{"time", timeText(event.time)}, {"event", name(event.kind)}};
    if (!event.complete) {
        fields["frame"] = toHex(event.data);
        return fields;
    }
    switch (event.kind) {
    case NotificationKind::GPIO_INTERRUPT:
        fields["pin"] = event.pin;
        break;
    case NotificationKind::I3C_IBI:
        fields["address"] = event.address;
        fields["data"] = toHex(event.data);
        break;
    case NotificationKind::I3C_HOT_JOIN:
        fields["address"] = event.address;
        fields["pid"] = toHex(event.pid);
        fields["bcr"] = event.bcr;
        fields["dcr"] = event.dcr;
        break;
    default:
        fields["data"] = toHex(event.data);
    }
    return fields;
}

NotificationStream::NotificationStream(Context& context)
    : context_(context), queue_(std::make_shared<EventQueue>(LARGEST_QUEUE))
{
    context_.sdk().onNotification(
        [queue = queue_](const Notification& notification) { queue->put(decode(notification)); });
    context_.sdk().onConnectionLost([queue = queue_] { queue->wake(); });
}

NotificationStream::~NotificationStream()
{
    if (TarvixSDK* const sdk = context_.openSdk(); sdk != nullptr) {
        sdk->onNotification(nullptr);
        sdk->onConnectionLost(nullptr);
    }
}

std::optional<Event> NotificationStream::next(std::optional<std::chrono::milliseconds> idleTimeout, int descriptor)
{
    const auto start = std::chrono::steady_clock::now();
    const auto deadline = idleTimeout ? std::optional<Deadline>(start + *idleTimeout) : std::nullopt;
    while (true) {
        throwIfInterrupted();
        if (const auto lost = queue_->takeLost()) {
            terminal::tell(fmt::format("tarvix {}: {} events lost: they came faster than standard output took them",
                                       context_.output().command(), lost));
        }
        if (auto event = queue_->take()) {
            return event;
        }
        if (!context_.sdk().isConnected()) {
            throw Failure(ExitStatus::ADAPTER_LOST, "the adapter has left the USB bus", "plug it back in");
        }
        if ((deadline && std::chrono::steady_clock::now() >= *deadline) || isReadable(descriptor)) {
            return std::nullopt;
        }
        waitForInput(deadline, queue_->descriptor(), descriptor);
    }
}

} // namespace tool
