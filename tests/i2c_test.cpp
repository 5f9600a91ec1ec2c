#include "support/golden.hpp"

namespace {

TEST(I2c, Frames)
{
    expectFrames({
        {"init",
         [](auto& sdk) { return sdk.i2cControllerInit(0x0102, 1, 400000, 0x77); },
         {0x02, 0x01, 0x01, 0x09, 0x01, 0x80, 0x1A, 0x06, 0x00, 0x77}},
        {"parameters, bus unchecked",
         [](auto& sdk) { return sdk.i2cSetParameters(0x0102, 9, 0x44332211, 0x77); },
         {0x02, 0x01, 0x02, 0x09, 0x09, 0x11, 0x22, 0x33, 0x44, 0x77}},
        {"pull-ups", [](auto& sdk) { return sdk.i2cSetPullUpResistors(0x0102, 1, 3); }, {0x02, 0x01, 0x02, 0x08, 1, 3}},
        {"write, two-byte register",
         [](auto& sdk) {
             return sdk.i2cWrite(0x0102, 1, 0x50, {0x12, 0x34}, {0xA1, 0xA2, 0xA3}, true);
         },
         {0x02, 0x01, 0x04, 0x09, 0x01, 0x03, 0x00, 0x50, 0x02, 0x34, 0x12, 0x00, 0x00, 0x01, 0xA1, 0xA2, 0xA3}},
        {"write, nothing at all",
         [](auto& sdk) { return sdk.i2cWrite(0x0102, 0, 0x51, {}, {}, false); },
         {0x02, 0x01, 0x04, 0x09, 0x00, 0x00, 0x00, 0x51, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
        {"read, four-byte register",
         [](auto& sdk) {
             return sdk.i2cRead(0x0102, 1, 0x52, {0x01, 0x02, 0x03, 0x04}, 0xABCD, true);
         },
         {0x02, 0x01, 0x05, 0x09, 0x01, 0xCD, 0xAB, 0x52, 0x04, 0x04, 0x03, 0x02, 0x01, 0x01}},
        {"read, one-byte register",
         [](auto& sdk) { return sdk.i2cRead(0x0102, 0, 0x53, {0xAB}, 1, false); },
         {0x02, 0x01, 0x05, 0x09, 0x00, 0x01, 0x00, 0x53, 0x01, 0xAB, 0x00, 0x00, 0x00, 0x00}},
        {"read, no register",
         [](auto& sdk) { return sdk.i2cRead(0x0102, 0, 0x54, {}, 2, false); },
         {0x02, 0x01, 0x05, 0x09, 0x00, 0x02, 0x00, 0x54, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
        {"scan, bus unchecked", [](auto& sdk) { return sdk.i2cScanBus(0x0102, 5, true); }, {0x02, 0x01, 6, 9, 5, 1}},
    });
}

using I2cAnswers = Blocking;

TEST_F(I2cAnswers, RefusesLongRegisterAddressesAfterTheConnection)
{
    const Bytes five(5);
    Bytes data{0xEE};
    EXPECT_EQ(sdk.i2cWrite(0, 0x50, five, {1}, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk.i2cRead(0, 0x50, five, 1, data, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(disconnected.i2cRead(0, 0x50, five, 1, data, false), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(data, Bytes{0xEE});
    EXPECT_TRUE(device->frames().empty());
}

TEST_F(I2cAnswers, LongDataIsAnnouncedModulo65536AndSentWhole)
{
    response = {0, 0, 4, 9, 0, 0};
    EXPECT_EQ(sdk.i2cWrite(0, 0x50, {}, Bytes(65537, 0xA5), false), StatusCode::SUCCESS);
    EXPECT_EQ(sent().size(), 14U + 65537U);
    EXPECT_EQ(sent().at(5), 0x01);
    EXPECT_EQ(sent().at(6), 0x00);
}

TEST_F(I2cAnswers, ReadDeliversAsManyBytesAsWereAskedFor)
{
    Bytes data{0xEE, 0xEE};
    response = {0, 0, 5, 9, 0x21, 0x43, 0xFF, 0xFF, 0xFF, 0xA1, 0xA2, 0xA3};
    EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 2, data, false), StatusCode{0x4321}) << "data is written on an error, too";
    EXPECT_EQ(data, (Bytes{0xA1, 0xA2}));
    EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 5, data, false), StatusCode{0x4321});
    EXPECT_EQ(data, (Bytes{0xA1, 0xA2, 0xA3, 0x00, 0x00})) << "zeros for what the adapter did not send";
    EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 0, data, false), StatusCode{0x4321});
    EXPECT_TRUE(data.empty());
    response = {0, 0, 5, 9, 0, 0, 0}; // no data at all
    EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 65535, data, false), StatusCode::SUCCESS);
    EXPECT_EQ(data, Bytes(65535));
    response = Bytes(9 + 65535, 0x5A);
    EXPECT_EQ(sdk.i2cRead(0, 0x50, {}, 65535, data, false), StatusCode{0x5A5A});
    EXPECT_EQ(data, Bytes(65535, 0x5A));
}

TEST_F(I2cAnswers, ScanChecksItsArgumentsBeforeTheConnection)
{
    Bytes addresses;
    std::uint8_t count = 0;
    for (TarvixSDK* session : {&sdk, &disconnected}) {
        EXPECT_EQ(session->i2cScanBus(addresses, &count, &count, 2, false), StatusCode::INVALID_ARGUMENT);
        EXPECT_EQ(session->i2cScanBus(addresses, nullptr, &count, 0, false), StatusCode::INVALID_ARGUMENT);
        EXPECT_EQ(session->i2cScanBus(addresses, &count, nullptr, 0, false), StatusCode::INVALID_ARGUMENT);
    }
    EXPECT_EQ(disconnected.i2cScanBus(addresses, &count, &count, 1, false), StatusCode::NOT_CONNECTED);
    EXPECT_TRUE(device->frames().empty());
}

TEST_F(I2cAnswers, ScanDeliversBothKindsOfEntriesOrNone)
{
    Bytes addresses{0xEE};
    std::uint8_t ones = 0;
    std::uint8_t twos = 0;
    response = {0, 0, 6, 9, 0x07, 0x00, 0xFF, 3, 2, 1, 2, 3, 4, 5, 6, 7};
    response.pop_back();
    EXPECT_EQ(sdk.i2cScanBus(addresses, &ones, &twos, 1, true), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(ones, 3);
    EXPECT_EQ(twos, 2);
    EXPECT_EQ(addresses, Bytes{0xEE});

    response.push_back(7);
    response.push_back(8); // more than announced
    EXPECT_EQ(sdk.i2cScanBus(addresses, &ones, &twos, 1, true), StatusCode{7});
    EXPECT_EQ(addresses, (Bytes{1, 2, 3, 4, 5, 6, 7}));

    response = {0, 0, 6, 9, 0, 0, 0, 0, 0};
    EXPECT_EQ(sdk.i2cScanBus(addresses, &ones, &twos, 0, false), StatusCode::SUCCESS);
    EXPECT_TRUE(addresses.empty());
    response = {0, 0, 6, 9, 0, 0, 0}; // ends before the counts
    EXPECT_EQ(sdk.i2cScanBus(addresses, &ones, &twos, 0, false), StatusCode::RESPONSE_TOO_SHORT);
}

} // namespace
