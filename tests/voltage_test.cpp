// Supply rails and analog read-back.
#include "support/golden.hpp"

namespace {

TEST(Voltage, Frames)
{
    // One shared rail under four names.
    const auto shared = [](auto method) {
        return [method](TarvixAsyncSDK& sdk) { return (sdk.*method)(0x0102, 0xABCD, true); };
    };
    const auto external = [](auto method) {
        return [method](TarvixAsyncSDK& sdk) { return (sdk.*method)(0x0304, true); };
    };
    const Bytes setShared{0x02, 0x01, 0x05, 0x04, 0xCD, 0xAB, 0x01};
    const Bytes useExternal{0x04, 0x03, 0x0B, 0x04, 0x01};
    expectFrames({
        {"measurements", [](auto& sdk) { return sdk.getAnalogMeasurements(0xFFFE); }, {0xFE, 0xFF, 0x09, 0x04}},
        {"gpio set", shared(&TarvixAsyncSDK::gpioSetVoltage), setShared},
        {"i2c set", shared(&TarvixAsyncSDK::i2cSetBusVoltage), setShared},
        {"spi set", shared(&TarvixAsyncSDK::spiSetBusVoltage), setShared},
        {"uart set", shared(&TarvixAsyncSDK::uartSetBusVoltage), setShared},
        {"flag off", [](auto& sdk) { return sdk.gpioSetVoltage(1, 0xFFFF, false); }, {1, 0, 0x05, 0x04, 0xFF, 0xFF, 0}},
        {"gpio external", external(&TarvixAsyncSDK::gpioUseExternalVoltage), useExternal},
        {"i2c external", external(&TarvixAsyncSDK::i2cUseExternalVoltage), useExternal},
        {"spi external", external(&TarvixAsyncSDK::spiUseExternalVoltage), useExternal},
        {"uart external", external(&TarvixAsyncSDK::uartUseExternalVoltage), useExternal},
        {"i3c set", [](auto& sdk) { return sdk.i3cSetBusVoltage(1, 0x0C80); }, {1, 0, 0x04, 0x04, 0x80, 0x0C}},
        {"i3c external", [](auto& sdk) { return sdk.i3cUseExternalVoltage(1, false); }, {1, 0, 0x0A, 0x04, 0x00}},
    });
}

using VoltageAnswers = Blocking;

TEST_F(VoltageAnswers, GettersPickTheirFieldsAlsoOnAnErrorStatus)
{
    response = {0, 0, 0x09, 0x04, 0x34, 0x12, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07};
    for (const auto getter : {&TarvixSDK::gpioGetVoltage, &TarvixSDK::i2cGetBusVoltage, &TarvixSDK::spiGetBusVoltage,
                              &TarvixSDK::uartGetBusVoltage}) {
        std::uint16_t voltage = 0xEEEE;
        EXPECT_EQ((sdk.*getter)(voltage), StatusCode{0x1234});
        EXPECT_EQ(voltage, 0x0201);
        EXPECT_EQ(sent().at(2), 0x09);
    }
    std::uint16_t first = 0;
    std::uint16_t second = 0;
    EXPECT_EQ(sdk.i3cGetBusVoltage(first, second), StatusCode{0x1234});
    EXPECT_EQ(first, 0x0403);
    EXPECT_EQ(second, 0x0605);

    response.resize(9); // cut in the middle of a reading
    EXPECT_EQ(sdk.i3cGetBusVoltage(first, second), StatusCode{0x1234});
    EXPECT_EQ(first, 0x0003);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(disconnected.i3cGetBusVoltage(first, second), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(first, 0x0003) << "outputs stay as they were without a response";
}

} // namespace
