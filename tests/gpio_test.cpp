#include "support/golden.hpp"

namespace {

TEST(Gpio, Frames)
{
    const GpioPinNumber beyond{0x105}; // undeclared, and more than a byte
    expectFrames({
        {"configure",
         [](auto& sdk) {
             return sdk.gpioConfigurePin(0x0102, GpioPinNumber::PIN_7, GpioFunctionality::OPEN_DRAIN,
                                         GpioLogicLevel::HIGH);
         },
         {0x02, 0x01, 0x01, 0x14, 0x07, 0x04, 0x01}},
        {"write",
         [=](auto& sdk) { return sdk.gpioDigitalWrite(0x0102, beyond, GpioLogicLevel::HIGH); },
         {0x02, 0x01, 0x02, 0x14, 0x05, 0x01}},
        {"read",
         [](auto& sdk) { return sdk.gpioDigitalRead(0x0102, GpioPinNumber::PIN_6); },
         {0x02, 0x01, 0x03, 0x14, 0x06}},
        {"arm",
         [](auto& sdk) {
             return sdk.gpioConfigureInterrupt(0x0102, GpioPinNumber::PIN_5, GpioTriggerType::BOTH_EDGES);
         },
         {0x02, 0x01, 0x04, 0x14, 0x05, 0x02}},
        {"disarm",
         [](auto& sdk) { return sdk.gpioDisableInterrupt(0x0102, GpioPinNumber::PIN_4); },
         {0x02, 0x01, 0x05, 0x14, 0x04}},
    });
}

using GpioAnswers = Blocking;

TEST_F(GpioAnswers, ReadWritesTheLevelAlsoOnAnErrorStatus)
{
    GpioLogicLevel level{0xEE};
    response = {0, 0, 0x03, 0x14, 0x01, 0x00, 0xC5}; // no declared level
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_1, level), StatusCode{1});
    EXPECT_EQ(level, GpioLogicLevel{0xC5});
    response = {0, 0, 0x03, 0x14, 0x00, 0x00}; // no level at all
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::PIN_1, level), StatusCode::SUCCESS);
    EXPECT_EQ(level, GpioLogicLevel::LOW);
}

} // namespace
