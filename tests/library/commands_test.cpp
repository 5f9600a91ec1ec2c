// What single commands do beside their golden rows: checks, long data, and outputs that depend on more than the answer.
#include <functional>

#include "golden/golden.hpp"
#include "support/adapter.hpp"

namespace golden {

namespace {

using Status = StatusCode;
constexpr auto NONE = I3cTransferFlags::NONE;

struct Commands : Adapter {
    Commands() { EXPECT_TRUE(sdk.connect("")); }

    TarvixSDK sdk{LONG_ENOUGH};
    TarvixSDK disconnected{LONG_ENOUGH};
    Bytes out{UNTOUCHED};
};

TEST_F(Commands, ARegisterAddressOfFiveBytesAndAReadingCccWithDataAreRefusedOnceConnected)
{
    const Bytes five(5);
    const std::function<Status(TarvixSDK&)> transfers[]{
        [&](TarvixSDK& session) { return session.i2cWrite(0, 0x50, five, {1}, false); },
        [&](TarvixSDK& session) { return session.i2cRead(0, 0x50, five, 1, out, false); },
        [&](TarvixSDK& session) { return session.i3cSdrRead(8, five, 1, out, NONE); },
        [&](TarvixSDK& session) { return session.i3cSdrWrite(8, five, {1}, NONE); },
        [&](TarvixSDK& session) { return session.i3cLegacyI2cRead(8, five, 1, out, NONE); },
        [&](TarvixSDK& session) { return session.i3cLegacyI2cWrite(8, five, {1}, NONE); },
        [&](TarvixSDK& session) {
            return session.i3cCccTransfer(0x30, I3cTransferDirection::READ, I3cTransferMode::SDR, false,
                                          I3cCccType::WITHOUT_DEFINING_BYTE, 1, CCC::GETBCR, 0, {1}, out);
        },
    };
    for (const auto& transfer : transfers) {
        EXPECT_EQ(transfer(sdk), Status::INVALID_ARGUMENT);
        EXPECT_EQ(transfer(disconnected), Status::NOT_CONNECTED);
    }
    EXPECT_EQ(out, Bytes{UNTOUCHED});
    EXPECT_EQ(sent(), "");
}

TEST_F(Commands, AScanChecksItsArgumentsBeforeTheConnection)
{
    std::uint8_t count = 0;
    for (TarvixSDK* session : {&sdk, &disconnected}) {
        EXPECT_EQ(session->i2cScanBus(out, &count, &count, 2, false), Status::INVALID_ARGUMENT);
        EXPECT_EQ(session->i2cScanBus(out, nullptr, &count, 0, false), Status::INVALID_ARGUMENT);
        EXPECT_EQ(session->i2cScanBus(out, &count, nullptr, 0, false), Status::INVALID_ARGUMENT);
    }
    EXPECT_EQ(sent(), "");
}

TEST_F(Commands, AScanThatPromisesMoreThanArrivedDeliversItsCountsAndNoAddress)
{
    std::uint8_t ones = 0;
    std::uint8_t twos = 0;
    answer("07 00 FF 03 02 01 02 03 04 05 06");
    EXPECT_EQ(sdk.i2cScanBus(out, &ones, &twos, 1, true), Status::RESPONSE_TOO_SHORT);
    EXPECT_EQ(ones, 3);
    EXPECT_EQ(twos, 2);
    EXPECT_EQ(out, Bytes{UNTOUCHED});
}

TEST_F(Commands, LongDataIsAnnouncedModulo65536AndSentWhole)
{
    const struct {
        std::size_t length;
        std::size_t fields; // before the data
        std::size_t count;  // offset of the count
        std::function<Status(const Bytes&)> send;
    } cases[]{
        {65'537, 14, 5, [&](const Bytes& data) { return sdk.i2cWrite(0, 0x50, {}, data, false); }},
        {65'538, 14, 12, [&](const Bytes& data) { return sdk.i3cSdrWrite(8, {}, data, NONE); }},
        {65'535, 10, 8, [&](const Bytes& data) { return sdk.i3cHdrDdrWrite(8, 0x20, data); }},
        {65'536, 6, 4, [&](const Bytes& data) { return sdk.uartSendMessage(data); }},
    };
    answer("00 00");
    for (const auto& [length, fields, count, send] : cases) {
        SCOPED_TRACE(length);
        const Bytes data = counting(length);
        EXPECT_EQ(send(data), Status::SUCCESS);
        const Bytes request = device->frames().back();
        ASSERT_EQ(request.size(), fields + length);
        EXPECT_EQ(part(request, fields, request.size()), data);
        EXPECT_EQ(request[count] | request[count + 1] << 8, length % 65'536);
    }
}

TEST_F(Commands, TheLongestAnswersArriveWhole)
{
    const Bytes most = counting(65'535);
    answer(hex("00 00 F1 F2 FF FF") + most);
    EXPECT_EQ(sdk.i3cSdrRead(8, {}, 1, out, NONE), Status::SUCCESS);
    EXPECT_EQ(out, most);
    answer(hex("5A 00 F1 F2 F3") + most);
    EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 65'535, out, false), Status{0x5A});
    EXPECT_EQ(out, most);

    std::vector<I3cTargetInfo> table;
    Bytes records(std::size_t{255} * 16);
    records[254 * 16] = 0x77;
    answer(hex("00 00 FF") + records);
    EXPECT_EQ(sdk.i3cGetDeviceTable(table), Status::SUCCESS);
    ASSERT_EQ(table.size(), 255U);
    EXPECT_EQ(table[254].staticAddress, 0x77);
}

} // namespace

} // namespace golden
