// The flat interface of the shipped library beside its golden rows: capacities, records, the callback for
// notifications.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <set>

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
    std::array<I3cTargetInfo, 8> table{};
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
    answer("00 00 FF FF FF FF FF FF FF FF FF FF FF FF");
    std::set<std::string> seen;
    for (const Row& row : rowsWith(&Row::flat)) {
        if (longest.count(row.function) == 0 || !seen.insert(row.function).second) {
            continue;
        }
        Outputs outputs;
        EXPECT_EQ(row.flat(handle, argumentsFor(outputs)), StatusCode::SUCCESS) << row.function;
        const auto untouched = std::find_if(outputs.buffer.rbegin(), outputs.buffer.rend(),
                                            [](std::uint8_t byte) { return byte != UNTOUCHED; });
        EXPECT_EQ(outputs.buffer.rend() - untouched, static_cast<std::ptrdiff_t>(longest.at(row.function)))
            << row.function;
    }
    EXPECT_EQ(seen.size(), longest.size());
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
    std::string response = "00 00 03";
    for (const char* const address : {"08", "09", "0A"}) {
        response += std::string(" 50 ") + address + " 01 02 03 04 05 06 07 0A 02 01 04 03 0B 0C";
    }
    connect();
    answer(response);
    for (const std::uint8_t capacity : {std::uint8_t{0}, std::uint8_t{2}, std::uint8_t{8}}) {
        SCOPED_TRACE(int{capacity});
        table = {};
        EXPECT_EQ(TarvixSDK_I3cGetDeviceTable(handle, table.data(), capacity, &length8), StatusCode::SUCCESS);
        EXPECT_EQ(length8, std::min<int>(capacity, 3));
        for (std::size_t i = 0; i < table.size(); ++i) {
            EXPECT_EQ(table[i].dynamicAddress, i < length8 ? 8 + i : 0);
            EXPECT_EQ(table[i].extraWord2, i < length8 ? 0x0304 : 0);
        }
    }
}

// Answers each request for a USB string with the next of `strings`, then with another command's response.
void answerStrings(fake_hid::Device& device, std::vector<std::string> strings)
{
    device.onFrame([&device, strings, next = std::size_t{0}](const Bytes& frame) mutable {
        const bool left = next < strings.size();
        Bytes response{frame[0], frame[1], 0x07, static_cast<std::uint8_t>(left ? 0x04 : 0x00), 0, 0};
        if (left) {
            const std::string& string = strings[next++];
            response.push_back(static_cast<std::uint8_t>(string.size() + 1));
            response.insert(response.end(), string.begin(), string.end());
        }
        device.deliverFrame(response);
    });
}

TEST_F(Flat, DeviceInfoBelongsToTheCaller)
{
    connect();
    const std::string tight(24, 'x'); // fills an allocation of its length, so that no room for the NUL shows
    answerStrings(*device, {tight, std::string("a\0b", 3), "", "4", "five"});
    ASSERT_EQ(TarvixSDK_GetDeviceInfo(handle, &info), StatusCode::SUCCESS);
    EXPECT_EQ(info.usbString1, tight);
    EXPECT_EQ(info.usbString1Length, 24U);
    EXPECT_GE(malloc_usable_size(info.usbString1), 25U);
    EXPECT_EQ(std::memcmp(info.usbString2, "a\0b", 4), 0) << "a NUL inside is kept, one behind is added";
    EXPECT_EQ(info.usbString2Length, 3U);
    EXPECT_EQ(std::string(info.usbString3, info.usbString3Length), "");
    EXPECT_EQ(std::string(info.usbString4, info.usbString4Length), "4");
    EXPECT_EQ(std::string(info.usbString5, info.usbString5Length), "five");

    TarvixSDK_DeviceInfo before = info;
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

struct Heard {
    Notification record;
    Bytes data; // 256 bytes of the buffer
};

// A flat callback has no context, so the tests keep it here.
Received<Heard>* heard = nullptr;

void hear(const Notification* notification)
{
    heard->add({*notification, {notification->data, notification->data + 256}});
}

class FlatNotification : public Flat {
protected:
    FlatNotification() { heard = &received; }
    ~FlatNotification() override { TarvixSDK_Disconnect(handle); }

    Received<Heard> received;
};

TEST_F(FlatNotification, TheBufferHolds256BytesAndTheLength8BitsUntilTheCallbackIsRemoved)
{
    connect();
    TarvixSDK_onNotification(handle, hear);
    const std::size_t sizes[][2]{{8, 8}, {255, 255}, {256, 0}, {257, 0}, {300, 0}, {512 + 20, 0}};
    std::size_t count = 0;
    for (const auto& [size, length] : sizes) {
        SCOPED_TRACE(size);
        const Bytes sentFrame = hex("00 00 81 10 00 00 02 00") + counting(size - 8);
        device->deliverFrame(sentFrame);
        TarvixSDK_onNotification(handle, hear); // may be set while notifications stream
        const std::vector<Heard> all = received.atLeast(++count);
        ASSERT_EQ(all.size(), count);
        EXPECT_EQ(all.back().record.kind, NotificationKind::UART_RX);
        EXPECT_EQ(all.back().record.length, length);
        EXPECT_TRUE(std::equal(sentFrame.begin(),
                               sentFrame.begin() + std::min<std::ptrdiff_t>(256, std::ssize(sentFrame)),
                               all.back().data.begin()));
        UartRxNotification view;
        EXPECT_EQ(TarvixSDK_notificationAsUartRx(&all.back().record, &view), length != 0);
    }
    TarvixSDK_onNotification(handle, nullptr);
    device->deliverFrame(hex("00 00 81 14 00 00 05"));
    ASSERT_TRUE(device->settle());
    EXPECT_EQ(received.size(), count);
}

TEST_F(FlatNotification, DisconnectingFromTheCallbackIsCompletedElsewhere)
{
    static TarvixSDK_Handle* session;
    session = handle;
    connect();
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
