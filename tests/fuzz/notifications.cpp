// The views of a notification of any kind and bytes.
#include "fuzz.hpp"
#include "tarvixsdk/flat.h"

template <typename View>
static View flatView(const Notification& n, const View* view, bool (*as)(const Notification*, View*))
{
    View flat{};
    fuzz::require(as(&n, &flat) == (view != nullptr), "both faces have the view, or none has");
    return flat;
}

using Data = std::span<const std::uint8_t>;

// The C++ view lies inside the frame; the flat one begins there, too, and is as long as declared.
static void check(const Notification& n, Data view, Data flat, std::size_t declared)
{
    fuzz::touch(view);
    fuzz::require(view.data() == n.data + 8 && view.size() == std::min(declared, n.length - 8),
                  "data inside the frame");
    fuzz::require(flat.data() == view.data() && flat.size() == declared, "the flat view says what was declared");
}

void fuzz::run(Input input)
{
    Notification n{};
    n.kind = NotificationKind{input.u8()};
    const Bytes frame = input.rest();
    n.data = frame.data();
    n.length = frame.size();
    const auto* const gpio = n.gpio();
    const auto* const join = n.i3cHotJoin();
    const auto* const ibi = n.i3cIbi();
    const auto* const uart = n.uartRx();
    const auto flatGpio = flatView(n, gpio, TarvixSDK_notificationAsGpio);
    const auto flatJoin = flatView(n, join, TarvixSDK_notificationAsI3cHotJoin);
    const auto flatIbi = flatView(n, ibi, TarvixSDK_notificationAsI3cIbi);
    const auto flatUart = flatView(n, uart, TarvixSDK_notificationAsUartRx);
    require(gpio == nullptr || gpio->pinNumber == flatGpio.pinNumber, "both name the pin");
    require(join == nullptr || join->dynamicAddress == flatJoin.dynamicAddress, "both name the target");
    if (ibi != nullptr) {
        check(n, {ibi->payload, ibi->payloadLength}, {flatIbi.payload, flatIbi.payloadLength}, frame[7]);
    }
    if (uart != nullptr) {
        check(n, {uart->data, uart->dataLength}, {flatUart.data, flatUart.dataLength}, frame[6] + frame[7] * 256U);
    }
}
