#include "support/golden.hpp"

namespace {

TEST(Spi, Frames)
{
    Bytes data{0xA1, 0xA2, 0xA3};
    Bytes none;
    expectFrames({
        {"init",
         [](auto& sdk) {
             return sdk.spiControllerInit(0x0102, SpiBitOrder::LSB_FIRST, SpiMode::MODE_3, SpiDataWidth{0x108},
                                          SpiChipSelect::SELECT_2, SpiChipSelectPolarity::ACTIVE_HIGH, 1000000);
         },
         {0x02, 0x01, 0x01, 0x0D, 0x01, 0x03, 0x08, 0x02, 0x01, 0x40, 0x42, 0x0F, 0x00}},
        {"parameters",
         [](auto& sdk) {
             return sdk.spiSetParameters(0x0102, SpiBitOrder::MSB_FIRST, SpiMode::MODE_2, SpiDataWidth::BITS_16,
                                         SpiChipSelect::SELECT_3, SpiChipSelectPolarity::ACTIVE_LOW, 0x44332211);
         },
         {0x02, 0x01, 0x02, 0x0D, 0x00, 0x02, 0x01, 0x03, 0x00, 0x11, 0x22, 0x33, 0x44}},
        {"transfer",
         [&](auto& sdk) { return sdk.spiTransfer(0x0102, data, 0x1234); },
         {0x02, 0x01, 0x04, 0x0D, 0x03, 0x00, 0x34, 0x12, 0xA1, 0xA2, 0xA3}},
        {"transfer of nothing",
         [&](auto& sdk) { return sdk.spiTransfer(0x0102, none, 4); },
         {0x02, 0x01, 0x04, 0x0D, 0x00, 0x00, 0x04, 0x00}},
    });
    EXPECT_EQ(data, (Bytes{0xA1, 0xA2, 0xA3}));
}

using SpiAnswers = Blocking;

TEST_F(SpiAnswers, TransferDeliversAsManyBytesAsTheAdapterAnnounces)
{
    Bytes out{1};
    Bytes in{0xEE};
    response = {0, 0, 4, 0x0D, 0x09, 0x00, 0x02, 0x00, 0xB1, 0xB2, 0xB3};
    EXPECT_EQ(sdk.spiTransfer(out, in, 7), StatusCode{9});
    EXPECT_EQ(in, (Bytes{0xB1, 0xB2}));
    response[6] = 5;
    EXPECT_EQ(sdk.spiTransfer(out, in, 7), StatusCode{9});
    EXPECT_EQ(in, (Bytes{0xB1, 0xB2, 0xB3, 0x00, 0x00}));
    response[6] = 0;
    EXPECT_EQ(sdk.spiTransfer(out, in, 7), StatusCode{9});
    EXPECT_TRUE(in.empty());
    response = {0, 0, 4, 0x0D, 0, 0, 0xFF, 0xFF}; // 65,535 bytes announced, none sent
    EXPECT_EQ(sdk.spiTransfer(out, in, 1), StatusCode::SUCCESS);
    EXPECT_EQ(in, Bytes(65535));
}

} // namespace
