// The I3C Common Command Codes.
#include "support/golden.hpp"

namespace {

TEST(Ccc, TransferFrames)
{
    using Direction = I3cTransferDirection;
    using Mode = I3cTransferMode;
    using Type = I3cCccType;
    expectFrames({
        {"broadcast without data",
         [](auto& sdk) {
             return sdk.i3cCccTransfer(0x1234, 0x7E, Direction::WRITE, Mode::SDR, false, Type::WITHOUT_DEFINING_BYTE, 0,
                                       CCC::ENTDAA, 0, {});
         },
         {0x34, 0x12, 0x09, 0x19, 0x7E, 0x00, 0x00, 0x07, 0x00}},
        {"length that disagrees with the data",
         [](auto& sdk) {
             return sdk.i3cCccTransfer(0x0102, 0x30, Direction::WRITE, Mode::HDR_DDR, true, Type::WITH_DEFINING_BYTE, 5,
                                       CCC::SETXTIME_DIRECT, 0xD1, {0xA1, 0xA2});
         },
         {0x02, 0x01, 0x09, 0x19, 0x30, 0x1A, 0x05, 0x98, 0xD1, 0xA1, 0xA2}},
        {"mode that spills into the flag",
         [](auto& sdk) {
             return sdk.i3cCccTransfer(1, 0x30, Direction::READ, Mode{5}, false, Type{9}, 1, CCC::GETBCR, 0, {});
         },
         {0x01, 0x00, 0x09, 0x19, 0x30, 0x9B, 0x01, 0x8E, 0x00}},
    });
}

TEST(Ccc, ReadsMustNotCarryData)
{
    fake_hid::reset();
    const auto device = fake_hid::attach();
    TarvixAsyncSDK sdk;
    const auto read = [&] {
        return sdk.i3cCccTransfer(1, 0x30, I3cTransferDirection::READ, I3cTransferMode::SDR, false,
                                  I3cCccType::WITHOUT_DEFINING_BYTE, 1, CCC::GETBCR, 0, {1});
    };
    EXPECT_EQ(read(), StatusCode::NOT_CONNECTED);
    ASSERT_TRUE(sdk.connect(""));
    EXPECT_EQ(read(), StatusCode::INVALID_ARGUMENT);
    EXPECT_TRUE(device->frames().empty());
}

// Behind 09 19: address, flags, length, CCC, defining byte, data.
TEST(Ccc, WriteFrames)
{
    using Action = I3cTargetResetDefByte;
    using Direction = I3cTransferDirection;
    expectFrames({
        {"ENEC broadcast",
         [](auto& sdk) { return sdk.i3cCccENECBroadcast(5, 0x0B); },
         {5, 0, 9, 0x19, 0x7E, 0x10, 1, 0, 0x0B}},
        {"DISEC broadcast",
         [](auto& sdk) { return sdk.i3cCccDISECBroadcast(5, 0x0B); },
         {5, 0, 9, 0x19, 0x7E, 0x10, 1, 1, 0x0B}},
        {"ENEC direct",
         [](auto& sdk) { return sdk.i3cCccENECDirect(5, 0x30, 0x0B); },
         {5, 0, 9, 0x19, 0x30, 0, 1, 0x80, 0, 0x0B}},
        {"DISEC direct",
         [](auto& sdk) { return sdk.i3cCccDISECDirect(5, 0x30, 0x0B); },
         {5, 0, 9, 0x19, 0x30, 0, 1, 0x81, 0, 0x0B}},
        {"ENTAS0 broadcast",
         [](auto& sdk) { return sdk.i3cCccENTAS0Broadcast(5); },
         {5, 0, 9, 0x19, 0x7E, 0, 0, 0x02, 0}},
        {"ENTAS1 broadcast",
         [](auto& sdk) { return sdk.i3cCccENTAS1Broadcast(5); },
         {5, 0, 9, 0x19, 0x7E, 0, 0, 0x03, 0}},
        {"ENTAS2 broadcast",
         [](auto& sdk) { return sdk.i3cCccENTAS2Broadcast(5); },
         {5, 0, 9, 0x19, 0x7E, 0, 0, 0x04, 0}},
        {"ENTAS3 broadcast",
         [](auto& sdk) { return sdk.i3cCccENTAS3Broadcast(5); },
         {5, 0, 9, 0x19, 0x7E, 0, 0, 0x05, 0}},
        {"ENTAS0 direct",
         [](auto& sdk) { return sdk.i3cCccENTAS0Direct(5, 0x31); },
         {5, 0, 9, 0x19, 0x31, 0, 0, 0x82, 0}},
        {"ENTAS1 direct",
         [](auto& sdk) { return sdk.i3cCccENTAS1Direct(5, 0x32); },
         {5, 0, 9, 0x19, 0x32, 0, 0, 0x83, 0}},
        {"ENTAS2 direct",
         [](auto& sdk) { return sdk.i3cCccENTAS2Direct(5, 0x33); },
         {5, 0, 9, 0x19, 0x33, 0, 0, 0x84, 0}},
        {"ENTAS3 direct",
         [](auto& sdk) { return sdk.i3cCccENTAS3Direct(5, 0x34); },
         {5, 0, 9, 0x19, 0x34, 0, 0, 0x85, 0}},
        {"RSTDAA", [](auto& sdk) { return sdk.i3cCccRSTDAA(5); }, {5, 0, 9, 0x19, 0x7E, 0, 0, 0x06, 0}},
        {"ENTDAA", [](auto& sdk) { return sdk.i3cCccENTDAA(5); }, {5, 0, 9, 0x19, 0x7E, 0, 0, 0x07, 0}},
        {"SETAASA",
         [](auto& sdk) {
             return sdk.i3cCccSETAASA(5, {0xA1, 0xA2});
         },
         {5, 0, 9, 0x19, 0x7E, 0, 2, 0x29, 0, 0xA1, 0xA2}},
        {"SETAASA, nothing", [](auto& sdk) { return sdk.i3cCccSETAASA(5, {}); }, {5, 0, 9, 0x19, 0x7E, 0, 0, 0x29, 0}},
        {"SETDASA",
         [](auto& sdk) { return sdk.i3cCccSETDASA(4, 0x50, 0x0A); },
         {4, 0, 9, 0x19, 0x50, 0, 1, 0x87, 0, 0x14}},
        {"SETNEWDA, carry dropped",
         [](auto& sdk) { return sdk.i3cCccSETNEWDA(4, 0x0A, 0xCB); },
         {4, 0, 9, 0x19, 0x0A, 0, 1, 0x88, 0, 0x96}},
        {"SETGRPA",
         [](auto& sdk) { return sdk.i3cCccSETGRPADirect(4, 0x0A, 0x41); },
         {4, 0, 9, 0x19, 0x0A, 0, 1, 0x9B, 0, 0x82}},
        {"RSTGRPA broadcast",
         [](auto& sdk) { return sdk.i3cCccRSTGRPABroadcast(4); },
         {4, 0, 9, 0x19, 0x7E, 0, 0, 0x2C, 0}},
        {"RSTGRPA direct",
         [](auto& sdk) { return sdk.i3cCccRSTGRPADirect(4, 0x0B); },
         {4, 0, 9, 0x19, 0x0B, 0, 0, 0x9C, 0}},
        {"SETMWL broadcast",
         [](auto& sdk) { return sdk.i3cCccSETMWLBroadcast(2, 0x0304); },
         {2, 0, 9, 0x19, 0x7E, 0, 2, 0x09, 0, 3, 4}},
        {"SETMWL direct",
         [](auto& sdk) { return sdk.i3cCccSETMWLDirect(2, 0x30, 0x0102); },
         {2, 0, 9, 0x19, 0x30, 0, 2, 0x89, 0, 1, 2}},
        {"SETMRL broadcast",
         [](auto& sdk) { return sdk.i3cCccSETMRLBroadcast(3, 0x0100, 0x20); },
         {3, 0, 9, 0x19, 0x7E, 0, 3, 0x0A, 0, 1, 0, 0x20}},
        {"SETMRL broadcast, no IBI size",
         [](auto& sdk) { return sdk.i3cCccSETMRLBroadcast(3, 0x0100, {}); },
         {3, 0, 9, 0x19, 0x7E, 0, 2, 0x0A, 0, 1, 0}},
        {"SETMRL direct",
         [](auto& sdk) { return sdk.i3cCccSETMRLDirect(3, 0x30, 0x0102, 0); },
         {3, 0, 9, 0x19, 0x30, 0, 3, 0x8A, 0, 1, 2, 0}},
        {"SETBUSCON",
         [](auto& sdk) {
             return sdk.i3cCccSETBUSCONBroadcast(3, 0x11, Bytes{0x22, 0x33});
         },
         {3, 0, 9, 0x19, 0x7E, 0, 3, 0x0C, 0, 0x11, 0x22, 0x33}},
        {"SETBUSCON, none",
         [](auto& sdk) { return sdk.i3cCccSETBUSCONBroadcast(3, 0x11, {}); },
         {3, 0, 9, 0x19, 0x7E, 0, 1, 0x0C, 0, 0x11}},
        {"SETXTIME broadcast",
         [](auto& sdk) { return sdk.i3cCccSETXTIMEBroadcast(3, 0xDF, Bytes{0x44}); },
         {3, 0, 9, 0x19, 0x7E, 0, 2, 0x28, 0, 0xDF, 0x44}},
        {"SETXTIME direct",
         [](auto& sdk) { return sdk.i3cCccSETXTIMEDirect(3, 0x30, 0xDF, Bytes{}); },
         {3, 0, 9, 0x19, 0x30, 0, 1, 0x98, 0, 0xDF}},
        {"RSTACT broadcast",
         [](auto& sdk) { return sdk.i3cCccRSTACTBroadcast(3, Action::RESET_WHOLE_TARGET); },
         {3, 0, 9, 0x19, 0x7E, 0x10, 1, 0x2A, 2}},
        {"RSTACT direct, write",
         [](auto& sdk) { return sdk.i3cCccRSTACTDirect(3, 0x30, Action::RESET_PERIPHERAL, Direction::WRITE); },
         {3, 0, 9, 0x19, 0x30, 0x10, 0, 0x9A, 1}},
        {"RSTACT direct, read",
         [](auto& sdk) { return sdk.i3cCccRSTACTDirect(3, 0x30, Action::TIME_RESET_PERIPHERAL, Direction::READ); },
         {3, 0, 9, 0x19, 0x30, 0x11, 1, 0x9A, 0x81}},
    });
}

TEST(Ccc, ReadFrames)
{
    expectFrames({
        {"GETMWL", [](auto& sdk) { return sdk.i3cCccGETMWL(1, 0x30); }, {1, 0, 9, 0x19, 0x30, 0x01, 2, 0x8B, 0}},
        {"GETMRL", [](auto& sdk) { return sdk.i3cCccGETMRL(1, 0x31); }, {1, 0, 9, 0x19, 0x31, 0x01, 3, 0x8C, 0}},
        {"GETPID", [](auto& sdk) { return sdk.i3cCccGETPID(1, 0x32); }, {1, 0, 9, 0x19, 0x32, 0x01, 6, 0x8D, 0}},
        {"GETBCR", [](auto& sdk) { return sdk.i3cCccGETBCR(1, 0x33); }, {1, 0, 9, 0x19, 0x33, 0x01, 1, 0x8E, 0}},
        {"GETDCR", [](auto& sdk) { return sdk.i3cCccGETDCR(1, 0x34); }, {1, 0, 9, 0x19, 0x34, 0x01, 1, 0x8F, 0}},
        {"GETSTATUS",
         [](auto& sdk) { return sdk.i3cCccGETSTATUS(1, 0x30, {}); },
         {1, 0, 9, 0x19, 0x30, 0x01, 2, 0x90, 0}},
        {"GETSTATUS, format",
         [](auto& sdk) { return sdk.i3cCccGETSTATUS(1, 0x30, 0x91); },
         {1, 0, 9, 0x19, 0x30, 0x11, 2, 0x90, 0x91}},
        {"GETMXDS", [](auto& sdk) { return sdk.i3cCccGETMXDS(1, 0x36); }, {1, 0, 9, 0x19, 0x36, 0x01, 5, 0x94, 0}},
        {"GETCAPS", [](auto& sdk) { return sdk.i3cCccGETCAPS(1, 0x37, {}); }, {1, 0, 9, 0x19, 0x37, 0x01, 4, 0x95, 0}},
        {"GETCAPS, format",
         [](auto& sdk) { return sdk.i3cCccGETCAPS(1, 0x38, 0); },
         {1, 0, 9, 0x19, 0x38, 0x11, 4, 0x95, 0}},
        {"GETXTIME", [](auto& sdk) { return sdk.i3cCccGETXTIME(1, 0x39); }, {1, 0, 9, 0x19, 0x39, 0x01, 4, 0x99, 0}},
    });
}

using CccAnswers = Blocking;

TEST_F(CccAnswers, VectorsHoldAsManyBytesAsTheTargetSent)
{
    Bytes out;
    const std::function<StatusCode()> reads[]{
        [&] { return sdk.i3cCccGETPID(0x30, out); },   [&] { return sdk.i3cCccGETSTATUS(0x30, out, {}); },
        [&] { return sdk.i3cCccGETMXDS(0x30, out); },  [&] { return sdk.i3cCccGETCAPS(0x30, out, 2); },
        [&] { return sdk.i3cCccGETXTIME(0x30, out); },
    };
    for (const auto& read : reads) {
        out = {0xEE};
        response = {0, 0, 9, 0x19, 0x06, 0x00, 0xFF, 0xFF, 0xFF, 2, 0xB1, 0xB2, 0xB3};
        EXPECT_EQ(read(), StatusCode{6});
        EXPECT_EQ(out, (Bytes{0xB1, 0xB2}));
        response[9] = 5;
        EXPECT_EQ(read(), StatusCode{6});
        EXPECT_EQ(out, (Bytes{0xB1, 0xB2, 0xB3, 0x00, 0x00}));
        response[9] = 0;
        EXPECT_EQ(read(), StatusCode{6});
        EXPECT_TRUE(out.empty());
    }
}

TEST_F(CccAnswers, SingleValuesAreReadBigEndianAlsoOnAnErrorStatus)
{
    std::uint16_t length = 0xEEEE;
    std::uint8_t byte = 0xEE;
    response = {0, 0, 9, 0x19, 0x06, 0x00, 0xFF, 0xFF, 0xFF, 2, 0x12, 0x34};
    EXPECT_EQ(sdk.i3cCccGETMWL(0x30, length), StatusCode{6});
    EXPECT_EQ(length, 0x1234);
    EXPECT_EQ(sdk.i3cCccGETBCR(0x30, byte), StatusCode{6});
    EXPECT_EQ(byte, 0x12);
    response.resize(10); // without data
    EXPECT_EQ(sdk.i3cCccGETMWL(0x30, length), StatusCode{6});
    EXPECT_EQ(length, 0);
    EXPECT_EQ(sdk.i3cCccGETDCR(0x30, byte), StatusCode{6});
    EXPECT_EQ(byte, 0);
}

TEST_F(CccAnswers, GetmrlTellsTheIbiSizeOnlyIfTheTargetSentOne)
{
    std::uint16_t length = 0;
    std::optional<std::uint8_t> ibiSize;
    response = {0, 0, 9, 0x19, 0, 0, 0, 0, 0, 3, 0x12, 0x34, 0x56};
    EXPECT_EQ(sdk.i3cCccGETMRL(0x30, length, ibiSize), StatusCode::SUCCESS);
    EXPECT_EQ(length, 0x1234);
    EXPECT_EQ(ibiSize, 0x56);
    response[9] = 2;
    EXPECT_EQ(sdk.i3cCccGETMRL(0x30, length, ibiSize), StatusCode::SUCCESS);
    EXPECT_EQ(ibiSize, std::nullopt) << "emptied";
}

TEST_F(CccAnswers, RstactDeliversATimeOnlyWhenReading)
{
    using Action = I3cTargetResetDefByte;
    std::uint8_t time = 0xEE;
    response = {0, 0, 9, 0x19, 0x06, 0x00, 0, 0, 0, 1, 0x77};
    EXPECT_EQ(sdk.i3cCccRSTACTDirect(0x30, Action::RESET_PERIPHERAL, I3cTransferDirection::WRITE, &time),
              StatusCode{6});
    EXPECT_EQ(time, 0xEE);
    EXPECT_EQ(sdk.i3cCccRSTACTDirect(0x30, Action::TIME_RESET_PERIPHERAL, I3cTransferDirection::READ, nullptr),
              StatusCode{6});
    EXPECT_EQ(sdk.i3cCccRSTACTDirect(0x30, Action::TIME_RESET_PERIPHERAL, I3cTransferDirection::READ, &time),
              StatusCode{6});
    EXPECT_EQ(time, 0x77);
}

} // namespace
