// The views of a notification of any kind and bytes.
#include "fuzz.hpp"
#include "tarvixsdk/flat.h"

using Data = std::span<const std::uint8_t>;

// The C++ view lies inside the frame; the flat one begins there, too, and is as long as declared.
static bool areSame(const Notification& n, Data view, Data flat, std::size_t declared)
{
    fuzz::touch(view);
    fuzz::require(view.data() == n.data + 8 && view.size() == std::min(declared, n.length - 8),
                  "data inside the frame");
    return flat.data() == view.data() && flat.size() == declared;
}

template <typename View, typename Same>
static void compare(const Notification& n, const View* view, bool (*as)(const Notification*, View*), Same same)
{
    View flat{};
    fuzz::require(as(&n, &flat) == (view != nullptr), "both faces have the view, or none has");
    fuzz::require(view == nullptr || same(*view, flat), "both views say the same");
}

void fuzz::run(Input input)
{
    Notification n{};
    n.kind = NotificationKind{input.u8()};
    const Bytes frame = input.rest();
    n.data = frame.data();
    n.length = frame.size();
    compare(n, n.gpio(), TarvixSDK_notificationAsGpio, [](auto& a, auto& b) { return a.pinNumber == b.pinNumber; });
    compare(n, n.i3cHotJoin(), TarvixSDK_notificationAsI3cHotJoin,
            [](auto& a, auto& b) { return a.dynamicAddress == b.dynamicAddress; });
    compare(n, n.i3cIbi(), TarvixSDK_notificationAsI3cIbi, [&](auto& a, auto& b) {
        return areSame(n, {a.payload, a.payloadLength}, {b.payload, b.payloadLength}, frame[7]);
    });
    compare(n, n.uartRx(), TarvixSDK_notificationAsUartRx, [&](auto& a, auto& b) {
        return areSame(n, {a.data, a.dataLength}, {b.data, b.dataLength}, frame[6] + frame[7] * 256U);
    });
}
