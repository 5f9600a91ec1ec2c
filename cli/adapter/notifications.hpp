// Notifications of the adapter as a stream: taken from the reader thread, decoded, time-stamped.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "adapter/context.hpp"
#include "console/output.hpp"

namespace tool {

// One notification, copied out of the frame.
struct Event {
    std::chrono::system_clock::time_point time;
    NotificationKind kind = NotificationKind::UNKNOWN;
    bool complete = false;            // false for a frame too short to decode
    std::uint8_t pin = 0;             // GPIO_INTERRUPT
    std::uint8_t address = 0;         // I3C_IBI: who raised it; I3C_HOT_JOIN: its dynamic address
    std::vector<std::uint8_t> pid{};  // I3C_HOT_JOIN, in wire order
    std::uint8_t bcr = 0;             // I3C_HOT_JOIN
    std::uint8_t dcr = 0;             // I3C_HOT_JOIN
    std::vector<std::uint8_t> data{}; // I3C_IBI: payload; UART_RX: what was received; else the whole frame
};

Event decode(const Notification& notification);

// 2025-01-31T12:00:00.123456Z
std::string timeText(std::chrono::system_clock::time_point time);

// Without the time: "gpio pin=3".
std::string describe(const Event& event);

// {"time": ..., "event": "gpio", "pin": 3}
Json toJson(const Event& event);

class EventQueue;

// Collects the notifications of the context's adapter while it lives. Create it before arming what notifies. Those that
// wait for `next` take 16 MiB at most; further ones are lost, and a line on standard error says how many.
class NotificationStream {
public:
    explicit NotificationStream(Context& context);
    ~NotificationStream();
    NotificationStream(const NotificationStream&) = delete;
    NotificationStream& operator=(const NotificationStream&) = delete;

    // The next one; empty when none came for `idleTimeout` (no value: waits without limit), and when there is none but
    // `descriptor` can be read. Throws Interrupted on Ctrl-C, Failure when the adapter is lost, OutputClosed when the
    // reader of standard output has closed it.
    std::optional<Event> next(std::optional<std::chrono::milliseconds> idleTimeout, int descriptor = -1);

private:
    Context& context_;
    // Shared with the handler, which may still be running on the reader thread when the stream ends.
    std::shared_ptr<EventQueue> queue_;
};

} // namespace tool
