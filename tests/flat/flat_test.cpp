// The flat interface of the shipped library beside its golden rows: capacities, records, the callback for
// notifications.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <tuple>

#include <malloc.h>

#include "golden/golden.hpp"
#include "support/adapter.hpp"
#include "support/received.hpp"

namespace golden {

namespace {

class Flat : public FlatAdapter {
protected:
    ~Flat() override { TarvixSDK_FreeDeviceInfo(&info); }

    std::uint8_t value8 = UNTOUCHED, secondValue8 = UNTOUCHED, length8 = UNTOUCHED;
    std::uint16_t value16 = 0xEEEE;
    Bytes out = Bytes(10, UNTOUCHED);
    TarvixSDK_DeviceInfo info{};
};

// A hostile adapter makes the library write this much and no more; the documentation asks for buffers of these sizes.
TEST_F(Flat, NoReadExceedsTheDocumentedBuffer)
{
    const std::map<std::string, std::size_t> longest{
        {"I2cRead", 4},          {"SpiTransfer", 65'535},      {"I3cSdrRead", 65'535}, {"I3cHdrDdrRead", 65'535},
        {"I3cCccGETPID", 255},   {"I3cCccGETSTATUS", 255},     {"I3cCccGETMXDS", 255}, {"I3cCccGETCAPS", 255},
        {"I3cCccGETXTIME", 255}, {"I3cLegacyI2CRead", 65'535},
    };
    connect();
    answer(Bytes(2) + Bytes(12, 0xFF));
    std::map<std::string, std::size_t> written;
    for (const Row& row : rowsWith(&Row::flat)) {
        Outputs outputs;
        if (longest.count(row.function) != 0 && written.count(row.function) == 0) {
            row.flat(handle, argumentsFor(outputs));
            written[row.function] = hex(outputs.data()).size();
        }
    }
    EXPECT_EQ(written, longest);
}

TEST_F(Flat, GetmrlSaysThatThereIsNoIbiSizeAlsoWithoutAnAnswer)
{
    EXPECT_EQ(TarvixSDK_I3cCccGETMRL(handle, 0x30, &value16, &value8, &secondValue8), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(secondValue8, 0);
}

TEST_F(Flat, AScanFillsAtMostItsCapacity)
{
    connect();
    answer("00 00 F1 02 01 11 22 33 44"); // two of one byte, one of two
    const Bytes before = out;
    EXPECT_EQ(TarvixSDK_I2cScanBus(handle, out.data(), 3, &value8, &secondValue8, 1, false),
              StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sent(), "06 09 01 00") << "the scan is made before the capacity is looked at";
    EXPECT_EQ(out, before);
    EXPECT_EQ(value8, 2);
    EXPECT_EQ(secondValue8, 1);

    EXPECT_EQ(TarvixSDK_I2cScanBus(handle, out.data(), 4, &value8, &secondValue8, 1, false), StatusCode::SUCCESS);
    EXPECT_EQ(out, hex("11 22 33 44") + part(before, 4, before.size()));
}

TEST_F(Flat, ADeviceTableDropsWhatExceedsItsCapacity)
{
    connect();
    const Bytes records = counting(3 * sizeof(I3cTargetInfo));
    answer(hex("00 00 03") + records);
    for (const std::uint8_t capacity : Bytes{0, 2, 8}) {
        std::array<I3cTargetInfo, 8> table{}, expected{};
        EXPECT_EQ(TarvixSDK_I3cGetDeviceTable(handle, table.data(), capacity, &length8), StatusCode::SUCCESS);
        EXPECT_EQ(length8, std::min<int>(capacity, 3));
        std::memcpy(expected.data(), records.data(), length8 * sizeof(I3cTargetInfo));
        EXPECT_EQ(std::memcmp(&table, &expected, sizeof table), 0) << int{capacity};
    }
}

// Answers each request for a USB string with the next of `strings`, then with another command's response.
void answerStrings(fake_hid::Device& device, std::vector<std::string> strings)
{
    device.onFrame([&device, strings, next = std::size_t{0}](const Bytes& request) mutable {
        if (next == strings.size()) {
            return device.deliverFrame(part(request, 0, 2) + hex("07 00 00 00"));
        }
        const std::string& string = strings[next++];
        device.deliverFrame(answerTo(request, {0, 0, static_cast<std::uint8_t>(string.size() + 1)}) +
                            Bytes(string.begin(), string.end()));
    });
}

TEST_F(Flat, DeviceInfoBelongsToTheCaller)
{
    connect();
    const std::string tight(24, 'x'); // fills an allocation of its length, so that no room for the NUL shows
    const std::vector<std::string> strings{tight, std::string("a\0b", 3), "", "4", "five"};
    answerStrings(*device, strings);
    ASSERT_EQ(TarvixSDK_GetDeviceInfo(handle, &info), StatusCode::SUCCESS);
    EXPECT_GE(malloc_usable_size(info.usbString1), 25U);
    const auto& [s1, l1, s2, l2, s3, l3, s4, l4, s5, l5] = info;
    EXPECT_EQ((std::vector<std::string>{{s1, l1}, {s2, l2}, {s3, l3}, {s4, l4}, {s5, l5}}), strings);
    EXPECT_EQ(std::string(s1) + s2 + s3 + s4 + s5, tight + "a4five") << "a NUL is added behind";

    const TarvixSDK_DeviceInfo before = info;
    answerStrings(*device, {"new", "new"});
    EXPECT_EQ(TarvixSDK_GetDeviceInfo(handle, &info), StatusCode::UNEXPECTED_RESPONSE);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0) << "a failure leaves the record alone";

    TarvixSDK_FreeDeviceInfo(&info);
    const TarvixSDK_DeviceInfo cleared{};
    EXPECT_EQ(std::memcmp(&info, &cleared, sizeof info), 0);
    TarvixSDK_FreeDeviceInfo(&info);
}

TEST_F(Flat, ConnectingNeverRaises)
{
    fake_hid::bus().devices.front() = std::make_shared<fake_hid::Device>(fake_hid::Entry{.serial = L"\xD800"});
    fake_hid::attach({.path = "/dev/hidraw7", .serial = L"good"});
    EXPECT_FALSE(TarvixSDK_ConnectWithSerialNumber(handle, "good")) << "an unreadable serial number comes first";
    EXPECT_FALSE(TarvixSDK_Connect(handle, "/dev/nothing"));
    EXPECT_TRUE(TarvixSDK_Connect(handle, "/dev/hidraw7"));
    TarvixSDK_Disconnect(handle);
    TarvixSDK_Disconnect(handle);
    EXPECT_EQ(TarvixSDK_UartDeinit(handle), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(fake_hid::bus().devices.back()->closes(), 1);
}

// Of a record: its kind, its length, whether it has a view, and 256 bytes of its buffer.
using Heard = std::tuple<NotificationKind, std::size_t, bool, Bytes>;

// A flat callback has no context, so the tests keep it here.
Received<Heard>* heard = nullptr;
TarvixSDK_Handle* session = nullptr;

void hear(const Notification* it)
{
    UartRxNotification view;
    const bool isViewed = TarvixSDK_notificationAsUartRx(it, &view);
    heard->add({it->kind, it->length, isViewed, {it->data, it->data + 256}});
}

struct FlatNotification : Flat {
    FlatNotification()
    {
        heard = &received;
        session = handle;
        connect();
    }
    ~FlatNotification() override { TarvixSDK_Disconnect(handle); }

    Received<Heard> received;
};

TEST_F(FlatNotification, TheBufferHolds256BytesAndTheLength8BitsUntilTheCallbackIsRemoved)
{
    std::vector<Heard> expected;
    for (const std::size_t size : {8U, 255U, 256U, 257U, 300U, 532U}) { // ever longer: nothing of the one before shows
        SCOPED_TRACE(size);
        const Bytes frame = hex("00 00 81 10 00 00 02 00") + counting(size - 8);
        TarvixSDK_onNotification(handle, hear); // may be set while notifications stream
        device->deliverFrame(frame);
        const std::size_t length = size < 256 ? size : 0;
        expected.emplace_back(NotificationKind::UART_RX, length, length > 0, padded(frame, 256));
        ASSERT_EQ(received.atLeast(expected.size()), expected);
    }
    TarvixSDK_onNotification(handle, nullptr);
    device->deliverFrame(hex("00 00 81 14 00 00 05"));
    ASSERT_TRUE(device->settle());
    EXPECT_EQ(received.size(), expected.size());
}

TEST_F(FlatNotification, DisconnectingFromTheCallbackIsCompletedElsewhere)
{
    TarvixSDK_onNotification(handle, [](const Notification* notification) {
        TarvixSDK_Disconnect(session);
        hear(notification);
    });
    device->deliverFrame(hex("00 00 81 14 00 00 05"));
    ASSERT_EQ(received.atLeast(1).size(), 1U);
    EXPECT_EQ(device->closes(), 0);
    TarvixSDK_Disconnect(handle);
    EXPECT_EQ(device->closes(), 1);
}

} // namespace

} // namespace golden
