// The views of a notification of any kind and bytes.
#include "fuzz.hpp"
#include "tarvixsdk/flat.h"

namespace {

template <typename View>
View flatView(const Notification& n, const View* view, bool (*as)(const Notification*, View*))
{
    View flat{};
    fuzz::require(as(&n, &flat) == (view != nullptr), "both faces have the view, or none has");
    return flat;
}

// The C++ view lies inside the frame; the flat one begins there, too, and is as long as declared.
void check(const Notification& n, std::span<const std::uint8_t> view, std::span<const std::uint8_t> flat,
           std::size_t declared)
{
    fuzz::touch(view);
    fuzz::require(view.data() == n.data + 8 && view.size() == std::min(declared, n.length - 8),
                  "data inside the frame");
    fuzz::require(flat.data() == view.data() && flat.size() == declared, "the flat view says what was declared");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
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
    fuzz::require(gpio == nullptr || gpio->pinNumber == flatGpio.pinNumber, "both name the pin");
    fuzz::require(join == nullptr || join->dynamicAddress == flatJoin.dynamicAddress, "both name the target");
    if (ibi != nullptr) {
        check(n, {ibi->payload, ibi->payloadLength}, {flatIbi.payload, flatIbi.payloadLength}, frame[7]);
    }
    if (uart != nullptr) {
        check(n, {uart->data, uart->dataLength}, {flatUart.data, flatUart.dataLength}, frame[6] + frame[7] * 256U);
    }
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    return {hex("02 00 00 81 14 00 00 05"), hex("03 00 00 81 10 00 00 03 00 41 42 43"),
            hex("01 00 00 81 19 00 00 08 02 0A 0B"), hex("00 00 00 82 19 00 00 01 02 03 04 05 06 07 08 09")};
}
