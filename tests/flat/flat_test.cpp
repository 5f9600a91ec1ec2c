// The flat interface of the shipped library with hidapi replaced: what holds for every function, and what single ones
// convert.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "every_function.hpp"
#include "flat_fixture.hpp"
#include "support/received.hpp"

namespace {

// The names that a header marks as exported, without their prefix.
std::set<std::string> declaredIn(const char* path)
{
    std::ifstream file(path);
    const std::string header{std::istreambuf_iterator<char>(file), {}};
    const std::string prefix = "TarvixSDK_";
    std::set<std::string> names;
    for (std::size_t at = 0; (at = header.find("TARVIX_API ", at)) != std::string::npos;) {
        at = header.find('(', at);
        const std::size_t name = header.rfind(prefix, at) + prefix.size();
        names.insert(header.substr(name, at - name));
    }
    return names;
}

TEST_F(Flat, TheTablesCoverTheHeader)
{
    // Those without a status; the next test calls them.
    std::set<std::string> covered{"Create",
                                  "Destroy",
                                  "Connect",
                                  "ConnectWithSerialNumber",
                                  "Disconnect",
                                  "GetVersion",
                                  "onNotification",
                                  "notificationAsGpio",
                                  "notificationAsI3cIbi",
                                  "notificationAsI3cHotJoin",
                                  "notificationAsUartRx",
                                  "FreeDeviceInfo"};
    for (const Function& row : EVERY_FUNCTION) {
        EXPECT_TRUE(covered.insert(row.name).second) << row.name << " stands twice in the table";
    }
    EXPECT_EQ(covered, declaredIn(TARVIX_FLAT_HEADER));
}

TEST_F(Flat, ANullHandleIsHarmlessWhateverTheOtherArgumentsAre)
{
    for (const Function& row : EVERY_FUNCTION) {
        EXPECT_EQ(row.call(nullptr, Arguments{}), StatusCode::NOT_CONNECTED) << row.name;
    }
    EXPECT_FALSE(TarvixSDK_Connect(nullptr, nullptr));
    EXPECT_FALSE(TarvixSDK_ConnectWithSerialNumber(nullptr, nullptr));
    TarvixSDK_Disconnect(nullptr);
    TarvixSDK_Destroy(nullptr);
    TarvixSDK_FreeDeviceInfo(nullptr);
    EXPECT_STREQ(TarvixSDK_GetVersion(), "1.3.0");
}

// Also that an error of the adapter comes through unchanged and that what such a response holds is not copied out.
TEST_F(Flat, EachFunctionSendsItsFrame)
{
    connect();
    answer("23 01 03 03 03 03 03 03 03 03 03 03 03 03");
    for (const Function& row : EVERY_FUNCTION) {
        SCOPED_TRACE(row.name);
        forgetOutputs();
        EXPECT_EQ(row.call(handle, arguments()), row.statusOnError);
        EXPECT_EQ(sent(), hex(row.frame));
        EXPECT_EQ(written(), 0U);
        EXPECT_EQ(length8, UNTOUCHED);
        EXPECT_EQ(length16, 0xEEEE);
        TarvixSDK_FreeDeviceInfo(&info);
    }
}

TEST_F(Flat, WrongArgumentsAreRefusedOneByOneBeforeTheConnectionIsLookedAt)
{
    struct Case {
        std::vector<const char*> functions;
        const char* wrong;
        std::function<void(Arguments&)> spoil;
    };
    const Case cases[]{
        {{"GpioGetVoltage", "I2cGetBusVoltage", "SpiGetBusVoltage", "UartGetBusVoltage", "I3cGetBusVoltage",
          "I3cCccGETMWL", "I3cCccGETMRL"},
         "no value",
         [](Arguments& a) { a.value16 = nullptr; }},
        {{"I3cGetBusVoltage"}, "no second value", [](Arguments& a) { a.secondValue16 = nullptr; }},
        {{"I2cScanBus", "I3cCccGETBCR", "I3cCccGETDCR", "I3cCccRSTACTDirect"},
         "no value",
         [](Arguments& a) { a.value8 = nullptr; }},
        {{"I2cScanBus"}, "no second count", [](Arguments& a) { a.secondValue8 = nullptr; }},
        {{"I2cScanBus"}, "bus beyond the last", [](Arguments& a) { a.bus = 2; }},
        {{"I2cRead", "I2cWrite", "I3cSdrRead", "I3cSdrWrite", "I3cLegacyI2CRead", "I3cLegacyI2CWrite"},
         "five bytes of register address",
         [](Arguments& a) { a.registerLength = 5; }},
        {{"I2cRead", "I3cSdrRead", "I3cLegacyI2CRead"},
         "no register address, but its length",
         [](Arguments& a) { a.in = nullptr; }},
        {{"I2cWrite", "I3cSdrWrite", "I3cLegacyI2CWrite", "I3cHdrDdrWrite"},
         "no data, but its length",
         [](Arguments& a) {
             a.in = nullptr;
             a.registerLength = 0;
         }},
        {{"I3cCccSETBUSCONBroadcast", "I3cCccSETXTIMEBroadcast", "I3cCccSETXTIMEDirect"},
         "no extra data, but its length",
         [](Arguments& a) { a.in = nullptr; }},
        {{"I2cRead", "I2cScanBus", "I3cSdrRead", "I3cHdrDdrRead", "I3cLegacyI2CRead", "I3cCccGETPID", "I3cCccGETSTATUS",
          "I3cCccGETMXDS", "I3cCccGETCAPS", "I3cCccGETXTIME"},
         "no buffer",
         [](Arguments& a) { a.out = nullptr; }},
        {{"I3cSdrRead", "I3cHdrDdrRead"}, "no length", [](Arguments& a) { a.length16 = nullptr; }},
        {{"I3cCccGETSTATUS", "I3cCccGETMXDS", "I3cCccGETCAPS", "I3cCccGETXTIME", "I3cGetDeviceTable"},
         "no length",
         [](Arguments& a) { a.length8 = nullptr; }},
        {{"I3cGetDeviceTable"}, "no table", [](Arguments& a) { a.table = nullptr; }},
        {{"GetDeviceInfo"}, "no record", [](Arguments& a) { a.info = nullptr; }},
    };
    const auto refuseAll = [&] {
        for (const Case& test : cases) {
            for (const char* const name : test.functions) {
                Arguments spoilt = arguments();
                test.spoil(spoilt);
                EXPECT_EQ(function(name).call(handle, spoilt), StatusCode::INVALID_ARGUMENT)
                    << name << ": " << test.wrong;
            }
        }
    };
    refuseAll();
    connect();
    refuseAll();
    EXPECT_EQ(sent(), Bytes());
}

// The other way through each conversion than in EachFunctionSendsItsFrame.
TEST_F(Flat, AbsentArgumentsAreNotSent)
{
    const Function cases[]{
        {"pin without level", "01 14 05 01 00",
         [](H* h, A) {
             return TarvixSDK_GpioConfigurePin(h, GpioPinNumber::PIN_5, GpioFunctionality::OUTPUT, false,
                                               GpioLogicLevel::HIGH);
         }},
        {"level beyond a byte", "02 14 05 34",
         [](H* h, A) { return TarvixSDK_GpioDigitalWrite(h, GpioPinNumber{0xFFFFFF05}, GpioLogicLevel{0x1234}); }},
        {"read without register", "05 09 00 04 00 48 00 00 00 00 00 00",
         [](H* h, A a) { return TarvixSDK_I2cRead(h, 0, 0x48, nullptr, 0, 4, a.out, false); }},
        {"write of nothing", "04 09 00 00 00 48 00 00 00 00 00 00",
         [](H* h, A) { return TarvixSDK_I2cWrite(h, 0, 0x48, nullptr, 0, nullptr, 0, false); }},
        {"write of nothing at an address", "04 09 00 00 00 48 00 00 00 00 00 00",
         [](H* h, A a) { return TarvixSDK_I2cWrite(h, 0, 0x48, a.in, 0, a.in, 0, false); }},
        {"SPI without data", "04 0D 00 00 02 00",
         [](H* h, A a) { return TarvixSDK_SpiTransfer(h, nullptr, 5, a.out, 2); }},
        {"UART without data", "05 10 00 00", [](H* h, A) { return TarvixSDK_UartSendMessage(h, nullptr, 0); }},
        {"bus without targets", "04 19 00", [](H* h, A) { return TarvixSDK_I3cInitBus(h, nullptr, 0); }},
        {"SETAASA without data", "09 19 7E 00 00 29 00",
         [](H* h, A) { return TarvixSDK_I3cCccSETAASA(h, nullptr, 0); }},
        {"SETMRL without IBI size", "09 19 7E 00 02 0A 00 01 02",
         [](H* h, A) { return TarvixSDK_I3cCccSETMRLBroadcast(h, 0x0102, false, 0x20); }},
        {"SETMRL direct without IBI size", "09 19 30 00 02 8A 00 01 02",
         [](H* h, A) { return TarvixSDK_I3cCccSETMRLDirect(h, 0x30, 0x0102, false, 0x20); }},
        {"SETBUSCON without extra data", "09 19 7E 00 01 0C 00 66",
         [](H* h, A) { return TarvixSDK_I3cCccSETBUSCONBroadcast(h, 0x66, nullptr, 0); }},
        {"SETBUSCON with empty extra data", "09 19 7E 00 01 0C 00 66",
         [](H* h, A a) { return TarvixSDK_I3cCccSETBUSCONBroadcast(h, 0x66, a.in, 0); }},
        {"GETSTATUS without defining byte", "09 19 30 01 02 90 00",
         [](H* h, A a) { return TarvixSDK_I3cCccGETSTATUS(h, 0x30, a.out, a.length8, false, 0x77); }},
        {"GETCAPS without defining byte", "09 19 30 01 04 95 00",
         [](H* h, A a) { return TarvixSDK_I3cCccGETCAPS(h, 0x30, a.out, a.length8, false, 0x77); }},
        {"RSTACT write without place for a time", "09 19 30 10 00 9A 01",
         [](H* h, A) {
             return TarvixSDK_I3cCccRSTACTDirect(h, 0x30, I3cTargetResetDefByte::RESET_PERIPHERAL,
                                                 I3cTransferDirection::WRITE, nullptr);
         }},
    };
    connect();
    answer("00 00");
    for (const Function& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(test.call(handle, arguments()), StatusCode::SUCCESS);
        EXPECT_EQ(sent(), hex(test.frame));
    }
}

TEST_F(Flat, ReadsDeliverWhatTheAdapterSaysItSent)
{
    struct Case {
        const char* name;
        const char* payload; // of the response
        const char* out;
        int reported; // -1 for a function that reports no length
    };
    const Case cases[]{
        {"I2cRead", "F1 F2 F3 D1 D2 D3 D4 D5", "D1 D2 D3 D4", -1}, // four are asked for
        {"SpiTransfer", "02 00 D1 D2 D3", "D1 D2", -1},
        {"I3cSdrRead", "F1 F2 06 00 D1 D2 D3 D4 D5 D6", "D1 D2 D3 D4 D5 D6", 6}, // more than asked for
        {"I3cHdrDdrRead", "F1 F2 02 00 D1 D2", "D1 D2", 2},
        {"I3cLegacyI2CRead", "F1 F2 02 00 D1 D2", "D1 D2", -1},
        {"I3cCccGETPID", "F1 F2 F3 06 D1 D2 D3 D4 D5 D6", "D1 D2 D3 D4 D5 D6", -1},
        {"I3cCccGETSTATUS", "F1 F2 F3 02 D1 D2", "D1 D2", 2},
        {"I3cCccGETMXDS", "F1 F2 F3 05 D1 D2 D3 D4 D5", "D1 D2 D3 D4 D5", 5},
        {"I3cCccGETCAPS", "F1 F2 F3 03 D1 D2 D3", "D1 D2 D3", 3},
        {"I3cCccGETXTIME", "F1 F2 F3 00", "", 0},
    };
    connect();
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        forgetOutputs();
        answer(std::string("00 00 ") + test.payload);
        EXPECT_EQ(function(test.name).call(handle, arguments()), StatusCode::SUCCESS);
        EXPECT_EQ(outBytes(written()), hex(test.out));
        const int reported = length8 != UNTOUCHED ? length8 : length16 != 0xEEEE ? length16 : -1;
        EXPECT_EQ(reported, test.reported);
    }

    answer("00 00 02 00 D1 D2");
    EXPECT_EQ(TarvixSDK_SpiTransfer(handle, in.data(), 3, nullptr, 2), StatusCode::SUCCESS) << "received is discarded";
}

// A hostile adapter writes this much and no more; the documentation asks for buffers of these sizes.
TEST_F(Flat, NoReadExceedsTheDocumentedBuffer)
{
    connect();
    std::string most = "00 00";
    for (int i = 0; i < 12; ++i) {
        most += " FF";
    }
    answer(most);
    for (const char* const name : {"SpiTransfer", "I3cSdrRead", "I3cHdrDdrRead", "I3cLegacyI2CRead"}) {
        forgetOutputs();
        EXPECT_EQ(function(name).call(handle, arguments()), StatusCode::SUCCESS) << name;
        EXPECT_EQ(written(), 65'535U) << name;
    }
    for (const char* const name :
         {"I3cCccGETPID", "I3cCccGETSTATUS", "I3cCccGETMXDS", "I3cCccGETCAPS", "I3cCccGETXTIME"}) {
        forgetOutputs();
        EXPECT_EQ(function(name).call(handle, arguments()), StatusCode::SUCCESS) << name;
        EXPECT_EQ(written(), 255U) << name;
    }
}

// Unlike buffers, single values are the method's to write, so also when the adapter reports an error.
TEST_F(Flat, SingleValuesAreWrittenWhateverTheStatus)
{
    struct Case {
        const char* name;
        std::uint32_t value;
        std::uint32_t second;
    };
    const Case cases[]{
        {"GpioGetVoltage", 0x1211, 0xEEEE},   {"I2cGetBusVoltage", 0x1211, 0xEEEE},
        {"SpiGetBusVoltage", 0x1211, 0xEEEE}, {"UartGetBusVoltage", 0x1211, 0xEEEE},
        {"I3cGetBusVoltage", 0x1413, 0x1615}, {"I3cCccGETMWL", 0x1516, 0xEEEE},
        {"I3cCccGETBCR", 0x15, 0xEEEE},       {"I3cCccGETDCR", 0x15, 0xEEEE},
        {"I3cCccRSTACTDirect", 0x15, 0xEEEE}, {"GpioDigitalRead", 0x11, 0xEEEE},
    };
    connect();
    for (const char* const status : {"00 00", "23 01"}) {
        answer(std::string(status) + " 11 12 13 14 15 16 17");
        for (const Case& test : cases) {
            SCOPED_TRACE(test.name);
            forgetOutputs();
            function(test.name).call(handle, arguments());
            const std::uint32_t value = value8 != UNTOUCHED                   ? value8
                                        : level != GpioLogicLevel{0xEEEEEEEE} ? static_cast<std::uint32_t>(level)
                                                                              : value16;
            EXPECT_EQ(value, test.value);
            EXPECT_EQ(secondValue16, test.second);
        }
    }
}

TEST_F(Flat, GetmrlTellsWhetherThereIsAnIbiSize)
{
    struct Case {
        const char* what;
        const char* response;
        std::uint8_t present;
        std::uint8_t value;
    };
    const Case cases[]{
        {"three bytes", "00 00 F1 F2 F3 03 01 02 20", 1, 0x20},
        {"two bytes", "00 00 F1 F2 F3 02 01 02 20", 0, UNTOUCHED},
        {"three bytes and an error", "23 01 F1 F2 F3 03 01 02 20", 1, 0x20},
    };
    connect();
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        forgetOutputs();
        answer(test.response);
        TarvixSDK_I3cCccGETMRL(handle, 0x30, &value16, &value8, &secondValue8);
        EXPECT_EQ(value16, 0x0102);
        EXPECT_EQ(secondValue8, test.present);
        EXPECT_EQ(value8, test.value);
    }
    EXPECT_EQ(TarvixSDK_I3cCccGETMRL(handle, 0x30, &value16, nullptr, nullptr), ADAPTER_ERROR)
        << "both may be left out";

    TarvixSDK_Disconnect(handle);
    secondValue8 = 1;
    EXPECT_EQ(TarvixSDK_I3cCccGETMRL(handle, 0x30, &value16, &value8, &secondValue8), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(secondValue8, 0) << "cleared before the call";
}

TEST_F(Flat, ScanFillsAtMostItsCapacity)
{
    connect();
    answer("00 00 F1 02 01 11 22 33 44"); // two of one byte, one of two
    EXPECT_EQ(TarvixSDK_I2cScanBus(handle, out.data(), 3, &value8, &secondValue8, 1, false),
              StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sent(), hex("06 09 01 00")) << "the scan is made before the capacity is looked at";
    EXPECT_EQ(written(), 0U);
    EXPECT_EQ(value8, 2);
    EXPECT_EQ(secondValue8, 1);

    EXPECT_EQ(TarvixSDK_I2cScanBus(handle, out.data(), 4, &value8, &secondValue8, 1, false), StatusCode::SUCCESS);
    EXPECT_EQ(outBytes(written()), hex("11 22 33 44"));
}

TEST_F(Flat, DeviceTableDropsWhatExceedsItsCapacity)
{
    std::string response = "00 00 03";
    for (const char* const address : {"08", "09", "0A"}) {
        response += std::string(" 50 ") + address + " 01 02 03 04 05 06 07 0A 02 01 04 03 0B 0C";
    }
    connect();
    answer(response);
    for (const std::uint8_t capacity : {std::uint8_t{0}, std::uint8_t{2}, std::uint8_t{8}}) {
        SCOPED_TRACE(int{capacity});
        forgetOutputs();
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
    answerStrings(*device, {"Acme", std::string("a\0b", 3), "", "4", "five"});
    ASSERT_EQ(TarvixSDK_GetDeviceInfo(handle, &info), StatusCode::SUCCESS);
    EXPECT_STREQ(info.usbString1, "Acme");
    EXPECT_EQ(info.usbString1Length, 4U);
    EXPECT_EQ(std::memcmp(info.usbString2, "a\0b", 4), 0) << "a NUL inside is kept, one behind is added";
    EXPECT_EQ(info.usbString2Length, 3U);
    EXPECT_STREQ(info.usbString3, "");
    EXPECT_EQ(info.usbString3Length, 0U);
    EXPECT_STREQ(info.usbString4, "4");
    EXPECT_STREQ(info.usbString5, "five");
    EXPECT_EQ(info.usbString5Length, 4U);

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

/* ---- Notifications ---------------------------------------------------------------------------------- */

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

    Bytes frame(const char* begin, std::size_t size)
    {
        Bytes bytes = hex(begin);
        while (bytes.size() < size) {
            bytes.push_back(static_cast<std::uint8_t>(bytes.size()));
        }
        return bytes;
    }

    Received<Heard> received;
};

TEST_F(FlatNotification, TheBufferHolds256BytesAndTheLength8Bits)
{
    connect();
    TarvixSDK_onNotification(handle, hear);
    const std::size_t sizes[][2]{{8, 8}, {255, 255}, {256, 0}, {257, 0}, {300, 0}, {512 + 20, 0}};
    std::size_t count = 0;
    for (const auto& [size, length] : sizes) {
        SCOPED_TRACE(size);
        const Bytes sentFrame = frame("00 00 81 10 00 00 02 00", size);
        device->deliverFrame(sentFrame);
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
}

TEST_F(FlatNotification, ACallbackMayBeReplacedWhileNotificationsStream)
{
    constexpr std::size_t COUNT = 500;
    static std::atomic<std::size_t> calls;
    calls = 0;
    const TarvixSDK_NotificationCallback first = [](const Notification*) { ++calls; };
    const TarvixSDK_NotificationCallback second = [](const Notification* notification) {
        if (++calls == COUNT) {
            hear(notification);
        }
    };
    connect();
    TarvixSDK_onNotification(handle, first);
    for (std::size_t i = 0; i < COUNT - 1; ++i) {
        device->deliverFrame(hex("00 00 81 14 00 00 05"));
        TarvixSDK_onNotification(handle, i % 2 == 0 ? second : first);
    }
    TarvixSDK_onNotification(handle, second);
    device->deliverFrame(hex("00 00 81 14 00 00 05"));
    EXPECT_EQ(received.atLeast(1).size(), 1U) << calls << " calls, the last with the second callback";
}

TEST_F(FlatNotification, ANullCallbackDropsThem)
{
    connect();
    TarvixSDK_onNotification(handle, hear);
    TarvixSDK_onNotification(handle, nullptr);
    device->deliverFrame(hex("00 00 81 14 00 00 05"));
    answer("00 00");
    EXPECT_EQ(TarvixSDK_UartDeinit(handle), StatusCode::SUCCESS); // answered behind the notification
    EXPECT_EQ(received.size(), 0U);
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

// Kind by kind, the shortest data that a view takes and one byte less; the lengths inside are as declared.
TEST(FlatViews, AreGivenForTheRightKindAndLengthOnly)
{
    const Bytes data = hex("00 00 00 00 00 00 D1 D2 D3 D4 D5 D6 D7 D8 D9");
    const auto record = [&](NotificationKind kind, std::size_t length) {
        Notification notification{};
        notification.kind = kind;
        notification.data = data.data();
        notification.length = length;
        return notification;
    };
    GpioInterruptNotification gpio{0xEE};
    I3cIbiNotification ibi{0xEE, nullptr, 0};
    I3cHotJoinNotification hotJoin{{}, 0xEE, 0, 0};
    UartRxNotification uart{nullptr, 0};
    struct Case {
        NotificationKind kind;
        std::size_t shortest;
        std::function<bool(const Notification*)> view;
    };
    const Case cases[]{
        {NotificationKind::GPIO_INTERRUPT, 7, [&](auto* n) { return TarvixSDK_notificationAsGpio(n, &gpio); }},
        {NotificationKind::I3C_IBI, 8, [&](auto* n) { return TarvixSDK_notificationAsI3cIbi(n, &ibi); }},
        {NotificationKind::I3C_HOT_JOIN, 15, [&](auto* n) { return TarvixSDK_notificationAsI3cHotJoin(n, &hotJoin); }},
        {NotificationKind::UART_RX, 8, [&](auto* n) { return TarvixSDK_notificationAsUartRx(n, &uart); }},
    };
    for (const Case& test : cases) {
        const Notification tooShort = record(test.kind, test.shortest - 1);
        const Notification otherKind = record(NotificationKind::UNKNOWN, test.shortest);
        EXPECT_FALSE(test.view(nullptr));
        EXPECT_FALSE(test.view(&tooShort));
        EXPECT_FALSE(test.view(&otherKind));
    }
    EXPECT_EQ(gpio.pinNumber, 0xEE);
    EXPECT_EQ(ibi.targetAddress, 0xEE);
    EXPECT_EQ(hotJoin.bcr, 0xEE);
    EXPECT_EQ(uart.data, nullptr);

    for (const Case& test : cases) {
        const Notification shortest = record(test.kind, test.shortest);
        EXPECT_TRUE(test.view(&shortest));
    }
    EXPECT_EQ(gpio.pinNumber, 0xD1);
    EXPECT_EQ(ibi.targetAddress, 0xD1);
    EXPECT_EQ(ibi.payload, data.data() + 8);
    EXPECT_EQ(ibi.payloadLength, 0xD2U);
    EXPECT_EQ(Bytes(hotJoin.provisionalId, hotJoin.provisionalId + 6), hex("D1 D2 D3 D4 D5 D6"));
    EXPECT_EQ(hotJoin.bcr, 0xD7);
    EXPECT_EQ(hotJoin.dcr, 0xD8);
    EXPECT_EQ(hotJoin.dynamicAddress, 0xD9);
    EXPECT_EQ(uart.data, data.data() + 8);
    EXPECT_EQ(uart.dataLength, 0xD2D1U);

    const Notification anyGpio = record(NotificationKind::GPIO_INTERRUPT, 15);
    const Notification anyIbi = record(NotificationKind::I3C_IBI, 15);
    const Notification anyHotJoin = record(NotificationKind::I3C_HOT_JOIN, 15);
    const Notification anyUart = record(NotificationKind::UART_RX, 15);
    EXPECT_FALSE(TarvixSDK_notificationAsGpio(&anyGpio, nullptr));
    EXPECT_FALSE(TarvixSDK_notificationAsI3cIbi(&anyIbi, nullptr));
    EXPECT_FALSE(TarvixSDK_notificationAsI3cHotJoin(&anyHotJoin, nullptr));
    EXPECT_FALSE(TarvixSDK_notificationAsUartRx(&anyUart, nullptr));
}

} // namespace
