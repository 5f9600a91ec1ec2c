// The views of a notification in C++ and C, and the queue of them.
#include <gtest/gtest.h>

#include "flat/notification_queue.hpp"
#include "support/bytes.hpp"
#include "tarvixsdk/flat.h"

namespace {

// What a view shows, as text; empty when there is none.
std::string text(std::initializer_list<int> numbers, const std::uint8_t* data = nullptr, std::size_t length = 0)
{
    std::string line;
    for (const int number : numbers) {
        line += std::to_string(number) + ' ';
    }
    return line + hexOf(data == nullptr ? Bytes{} : Bytes(data, data + length)) + "|";
}

// The flat view, which is there when `view` is.
template <typename View>
View flat(const Notification& n, const View* view, bool (*as)(const Notification*, View*))
{
    View flatView{};
    EXPECT_EQ(as(&n, &flatView), view != nullptr);
    EXPECT_FALSE(as(&n, nullptr) || as(nullptr, &flatView));
    return flatView;
}

std::string gpio(const Notification& n)
{
    const auto* const view = n.gpio();
    const auto flatView = flat(n, view, TarvixSDK_notificationAsGpio);
    EXPECT_TRUE(view == nullptr || flatView.pinNumber == view->pinNumber);
    return view == nullptr ? "" : text({view->pinNumber});
}

std::string hotJoin(const Notification& n)
{
    const auto* const view = n.i3cHotJoin();
    const auto flatView = flat(n, view, TarvixSDK_notificationAsI3cHotJoin);
    const auto show = [](const I3cHotJoinNotification& v) {
        return text({v.bcr, v.dcr, v.dynamicAddress}, v.provisionalId, 6);
    };
    EXPECT_TRUE(view == nullptr || show(flatView) == show(*view));
    return view == nullptr ? "" : show(*view);
}

// These two carry a length: the accessors bound it by the frame, the flat views report it as declared.
std::string ibi(const Notification& n)
{
    const auto* const view = n.i3cIbi();
    const auto flatView = flat(n, view, TarvixSDK_notificationAsI3cIbi);
    if (view == nullptr) {
        return "";
    }
    EXPECT_EQ(flatView.targetAddress, view->targetAddress);
    EXPECT_EQ(flatView.payload, view->payload);
    EXPECT_EQ(flatView.payloadLength, n.data[7]);
    return text({view->targetAddress}, view->payload, view->payloadLength);
}

std::string uart(const Notification& n)
{
    const auto* const view = n.uartRx();
    const auto flatView = flat(n, view, TarvixSDK_notificationAsUartRx);
    if (view == nullptr) {
        return "";
    }
    EXPECT_EQ(flatView.data, view->data);
    EXPECT_EQ(flatView.dataLength, std::size_t{n.data[6]} + n.data[7] * std::size_t{256});
    return text({}, view->data, view->dataLength);
}

TEST(Notifications, ShowTheViewOfTheirKindAndNoMoreThanTheyHold)
{
    using Kind = NotificationKind;
    const struct {
        Kind kind;
        const char* frame;
        std::string view;
    } cases[]{
        {Kind::GPIO_INTERRUPT, "00 00 81 14 00 00 05", "5 |"},
        {Kind::GPIO_INTERRUPT, "00 00 81 14 00 00", ""},
        {Kind::GPIO_INTERRUPT, "", ""},
        {Kind::UART_RX, "00 00 81 10 00 00 03 00 41 42 43", "41 42 43|"},
        {Kind::UART_RX, "00 00 81 10 00 00 02 00 41 42 43", "41 42|"},
        {Kind::UART_RX, "00 00 81 10 00 00 00 01 41", "41|"}, // 256 declared
        {Kind::UART_RX, "00 00 81 10 00 00 00 00", "|"},
        {Kind::UART_RX, "00 00 81 10 00 00 01", ""},
        {Kind::I3C_IBI, "00 00 81 19 00 00 08 02 0A 0B 0C", "8 0A 0B|"},
        {Kind::I3C_IBI, "00 00 81 19 00 00 08 FF 0A", "8 0A|"}, // 255 declared
        {Kind::I3C_IBI, "00 00 81 19 00 00 08 00", "8 |"},
        {Kind::I3C_IBI, "00 00 81 19 00 00 08", ""},
        {Kind::I3C_HOT_JOIN, "00 00 82 19 00 00 01 02 03 04 05 06 07 08 09", "7 8 9 01 02 03 04 05 06|"},
        {Kind::I3C_HOT_JOIN, "00 00 82 19 00 00 01 02 03 04 05 06 07 08", ""},
        {Kind::UNKNOWN, "00 00 83 19 00 00 01 02 03 04 05 06 07 08 09", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.frame);
        const Bytes frame = hex(test.frame);
        Notification notification{};
        notification.kind = test.kind;
        notification.data = frame.data();
        notification.length = frame.size();
        EXPECT_EQ(gpio(notification) + uart(notification) + ibi(notification) + hotJoin(notification), test.view)
            << "the views of the other kinds are empty";
    }
}

// The reader thread delivers as soon as the adapter is open, the caller's thread says so later.
TEST(NotificationQueue, KeepsANotificationThatIsFasterThanOpenAndTheLatestHoweverLong)
{
    NotificationQueue queue;
    Bytes buffer((std::size_t{1} << 20) + 1); // more than the queue holds
    for (const Bytes& frame : {hex("01 02 03"), buffer}) {
        queue.put(frame);
        queue.begin();
        std::size_t length = 0;
        EXPECT_EQ(queue.take(buffer, length, 0), StatusCode::SUCCESS);
        EXPECT_EQ(length, frame.size());
    }
}

} // namespace
