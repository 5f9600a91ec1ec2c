// I3C controller, target table, bus patterns and private transfers.
#include <cstring>

#include "support/golden.hpp"

namespace {

const I3cTargetInfo FIRST{0x50, 0x0A, {1, 2, 3, 4, 5, 6}, 0x27, 0xC6, 0x1234, 0x5678, 0x9A, 0xBC};
const I3cTargetInfo SECOND{0x51, 0x0B, {7, 8, 9, 10, 11, 12}, 0x28, 0xC7, 0xABCD, 0xEF01, 0x23, 0x45};

// The same two as bytes.
const Bytes FIRST_BYTES{0x50, 0x0A, 1, 2, 3, 4, 5, 6, 0x27, 0xC6, 0x34, 0x12, 0x78, 0x56, 0x9A, 0xBC};
const Bytes SECOND_BYTES{0x51, 0x0B, 7, 8, 9, 10, 11, 12, 0x28, 0xC7, 0xCD, 0xAB, 0x01, 0xEF, 0x23, 0x45};

Bytes concat(Bytes first, const Bytes& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(I3c, Frames)
{
    I3cTargetConfiguration configuration{0xA5};
    expectFrames({
        {"controller init",
         [](auto& sdk) { return sdk.i3cControllerInit(0x0102, 0x11, 0x22, 0x33, 0x44); },
         {0x02, 0x01, 0x01, 0x19, 0x11, 0x22, 0x33, 0x44}},
        {"set parameters",
         [](auto& sdk) { return sdk.i3cSetParameters(0x0102, 0x11, 0x22, 0x33, 0x44); },
         {0x02, 0x01, 0x02, 0x19, 0x11, 0x22, 0x33, 0x44}},
        {"init bus, nobody", [](auto& sdk) { return sdk.i3cInitBus(0x0102, {}); }, {0x02, 0x01, 0x04, 0x19, 0x00}},
        {"init bus, two",
         [](auto& sdk) {
             return sdk.i3cInitBus(0x0102, {FIRST, SECOND});
         },
         concat(concat({0x02, 0x01, 0x04, 0x19, 0x02}, FIRST_BYTES), SECOND_BYTES)},
        {"reset bus", [](auto& sdk) { return sdk.i3cResetBus(0x0102); }, {0x02, 0x01, 0x05, 0x19}},
        {"device table", [](auto& sdk) { return sdk.i3cGetDeviceTable(0x0102); }, {0x02, 0x01, 0x06, 0x19}},
        {"target configuration",
         [=](auto& sdk) { return sdk.i3cSetTargetDeviceConfiguration(0x0102, 0x0A, configuration); },
         {0x02, 0x01, 0x07, 0x19, 0x0A, 0xA5}},
        {"HDR exit", [](auto& sdk) { return sdk.i3cHdrExitPattern(7); }, {0x07, 0x00, 0x0A, 0x19, 0x01}},
        {"target reset", [](auto& sdk) { return sdk.i3cTargetResetPattern(7); }, {0x07, 0x00, 0x0A, 0x19, 0x00}},
        {"SDR read",
         [](auto& sdk) {
             return sdk.i3cSdrRead(0x0102, 0x08, {0x12, 0x34}, 2, I3cTransferFlags::NONE);
         },
         {0x02, 0x01, 0x08, 0x19, 0x08, 0x01, 0x00, 0x02, 0x12, 0x34, 0x00, 0x00, 0x02, 0x00}},
        {"SDR read, flag",
         [](auto& sdk) {
             return sdk.i3cSdrRead(0x0102, 0x08, {1, 2, 3, 4}, 0xABCD, I3cTransferFlags::BIT_0);
         },
         {0x02, 0x01, 0x08, 0x19, 0x08, 0x09, 0x00, 0x04, 1, 2, 3, 4, 0xCD, 0xAB}},
        {"SDR write, flags beyond five bits",
         [](auto& sdk) {
             return sdk.i3cSdrWrite(0x0102, 0x09, {0x77}, {0xA1, 0xA2}, I3cTransferFlags{0x31});
         },
         {0x02, 0x01, 0x08, 0x19, 0x09, 0x88, 0x00, 0x01, 0x77, 0x00, 0x00, 0x00, 0x02, 0x00, 0xA1, 0xA2}},
        {"HDR-DDR read",
         [](auto& sdk) { return sdk.i3cHdrDdrRead(0x0102, 0x0A, 0x81, 0x1234); },
         {0x02, 0x01, 0x08, 0x19, 0x0A, 0x03, 0x81, 0x00, 0x34, 0x12}},
        {"HDR-DDR write",
         [](auto& sdk) {
             return sdk.i3cHdrDdrWrite(0x0102, 0x0A, 0x20, {0xA1, 0xA2, 0xA3});
         },
         {0x02, 0x01, 0x08, 0x19, 0x0A, 0x02, 0x20, 0x00, 0x03, 0x00, 0xA1, 0xA2, 0xA3}},
        {"legacy read",
         [](auto& sdk) { return sdk.i3cLegacyI2cRead(0x0102, 0x52, {0x12}, 3, I3cTransferFlags::BIT_4); },
         {0x02, 0x01, 0x08, 0x19, 0x52, 0x85, 0x00, 0x01, 0x12, 0x00, 0x00, 0x00, 0x03, 0x00}},
        {"legacy write, nothing at all",
         [](auto& sdk) { return sdk.i3cLegacyI2cWrite(0x0102, 0x53, {}, {}, I3cTransferFlags::NONE); },
         {0x02, 0x01, 0x08, 0x19, 0x53, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
    });
}

using I3cAnswers = Blocking;

TEST_F(I3cAnswers, ControllerSettingsTravelAsTheirLowBytesInOrder)
{
    response = {0, 0, 1, 0x19, 0, 0};
    EXPECT_EQ(sdk.i3cControllerInit(I3cPushPullRate::MHZ_4, I3cOpenDrainTransferRate{0x1F2}, I2cTransferRate::KHZ_400,
                                    I3cDriveStrength{0x144}),
              StatusCode::SUCCESS);
    EXPECT_EQ(sent(), (Bytes{1, 0, 0x01, 0x19, 0x03, 0xF2, 0x01, 0x44}));
    EXPECT_EQ(sdk.i3cSetParameters(I3cPushPullRate::MHZ_2, I3cOpenDrainTransferRate::MHZ_2, I2cTransferRate::MHZ_1,
                                   I3cDriveStrength::LOW),
              StatusCode::SUCCESS);
    EXPECT_EQ(sent(), (Bytes{2, 0, 0x02, 0x19, 0x04, 0x01, 0x02, 0x00}));
}

TEST_F(I3cAnswers, TheDeviceTableIsReplacedAlsoOnAnErrorStatus)
{
    const auto same = [](const I3cTargetInfo& info, const I3cTargetInfo& expected) {
        return std::memcmp(&info, &expected, sizeof info) == 0;
    };
    std::vector<I3cTargetInfo> table(5);
    response = concat(concat({0, 0, 6, 0x19, 3, 0, 2}, FIRST_BYTES), SECOND_BYTES);
    EXPECT_EQ(sdk.i3cGetDeviceTable(table), StatusCode{3});
    ASSERT_EQ(table.size(), 2U);
    EXPECT_TRUE(same(table[0], FIRST));
    EXPECT_TRUE(same(table[1], SECOND));

    response[6] = 255; // more records than the frame holds
    EXPECT_EQ(sdk.i3cGetDeviceTable(table), StatusCode{3});
    ASSERT_EQ(table.size(), 255U);
    EXPECT_TRUE(same(table[1], SECOND));
    EXPECT_TRUE(same(table[2], I3cTargetInfo{}));

    response = {0, 0, 6, 0x19, 0, 0, 0};
    EXPECT_EQ(sdk.i3cGetDeviceTable(table), StatusCode::SUCCESS);
    EXPECT_TRUE(table.empty());
}

TEST_F(I3cAnswers, PrivateReadsDeliverAsManyBytesAsTheAdapterAnnounces)
{
    Bytes data;
    const std::function<StatusCode()> reads[]{
        [&] { return sdk.i3cSdrRead(8, {}, 1, data, I3cTransferFlags::NONE); },
        [&] { return sdk.i3cHdrDdrRead(8, 0x80, 1, data); },
        [&] { return sdk.i3cLegacyI2cRead(8, {}, 1, data, I3cTransferFlags::NONE); },
    };
    for (const auto& read : reads) {
        data = {0xEE};
        response = {0, 0, 8, 0x19, 0x05, 0x00, 0xFF, 0xFF, 0x02, 0x00, 0xB1, 0xB2, 0xB3};
        EXPECT_EQ(read(), StatusCode{5});
        EXPECT_EQ(data, (Bytes{0xB1, 0xB2}));
        response[8] = 4;
        EXPECT_EQ(read(), StatusCode{5});
        EXPECT_EQ(data, (Bytes{0xB1, 0xB2, 0xB3, 0x00}));
        response[8] = 0;
        EXPECT_EQ(read(), StatusCode{5});
        EXPECT_TRUE(data.empty());
        response = {0, 0, 8, 0x19, 0x00, 0x00, 0xFF, 0xFF, 0xFF}; // ends inside the count
        EXPECT_EQ(read(), StatusCode::SUCCESS);
        EXPECT_EQ(data, Bytes(255));
        response = concat({0, 0, 8, 0x19, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}, Bytes(65535, 0x5A));
        EXPECT_EQ(read(), StatusCode::SUCCESS);
        EXPECT_EQ(data, Bytes(65535, 0x5A));
    }
}

TEST_F(I3cAnswers, RefusesLongRegisterAddressesAfterTheConnection)
{
    const Bytes five(5);
    Bytes data{0xEE};
    constexpr auto NONE = I3cTransferFlags::NONE;
    const std::function<StatusCode(TarvixSDK&)> transfers[]{
        [&](TarvixSDK& session) { return session.i3cSdrRead(8, five, 1, data, NONE); },
        [&](TarvixSDK& session) { return session.i3cSdrWrite(8, five, {1}, NONE); },
        [&](TarvixSDK& session) { return session.i3cLegacyI2cRead(8, five, 1, data, NONE); },
        [&](TarvixSDK& session) { return session.i3cLegacyI2cWrite(8, five, {1}, NONE); },
    };
    for (const auto& transfer : transfers) {
        EXPECT_EQ(transfer(sdk), StatusCode::INVALID_ARGUMENT);
        EXPECT_EQ(transfer(disconnected), StatusCode::NOT_CONNECTED);
    }
    EXPECT_EQ(data, Bytes{0xEE});
    EXPECT_TRUE(device->frames().empty());
}

TEST_F(I3cAnswers, LongWritesAreAnnouncedModulo65536AndSentWhole)
{
    response = {0, 0, 8, 0x19, 0, 0};
    EXPECT_EQ(sdk.i3cSdrWrite(8, {}, Bytes(65538, 1), I3cTransferFlags::NONE), StatusCode::SUCCESS);
    EXPECT_EQ(sent().size(), 14U + 65538U);
    EXPECT_EQ(sent().at(12), 0x02);
    EXPECT_EQ(sdk.i3cHdrDdrWrite(8, 0x20, Bytes(65535, 1)), StatusCode::SUCCESS);
    EXPECT_EQ(sent().size(), 10U + 65535U);
    EXPECT_EQ(sent().at(9), 0xFF);
}

TEST(I3cTargetConfigurationBits, OverlayTheByte)
{
    I3cTargetConfiguration configuration{0};
    configuration.bits.bit0 = 1;
    configuration.bits.bit7 = 1;
    EXPECT_EQ(configuration.raw, 0x81);
}

} // namespace
