#include "support/golden.hpp"

namespace {

TEST(Uart, Frames)
{
    Bytes longMessage{0x02, 0x01, 0x05, 0x10, 0x00, 0x00}; // 65,536 bytes announce 0
    longMessage.resize(6 + 65536, 0x55);
    expectFrames({
        {"init",
         [](auto& sdk) {
             return sdk.uartInit(0x0102, UartBaudRate::BAUD_115200, UartHwHandshake::ENABLED, UartParity::EVEN,
                                 UartDataSize::BITS_8, UartStopBit::ONE);
         },
         {0x02, 0x01, 0x02, 0x10, 0x07, 0x01, 0x02, 0x03, 0x00}},
        {"parameters",
         [](auto& sdk) {
             return sdk.uartSetParameters(0x0102, UartBaudRate{0x1FF}, UartHwHandshake::DISABLED, UartParity::ODD,
                                          UartDataSize::BITS_7, UartStopBit::TWO);
         },
         {0x02, 0x01, 0x03, 0x10, 0xFF, 0x00, 0x01, 0x02, 0x01}},
        {"deinit", [](auto& sdk) { return sdk.uartDeinit(0x0102); }, {0x02, 0x01, 0x01, 0x10}},
        {"message",
         [](auto& sdk) {
             return sdk.uartSendMessage(0x0102, {0x41, 0x42, 0x43});
         },
         {0x02, 0x01, 0x05, 0x10, 0x03, 0x00, 0x41, 0x42, 0x43}},
        {"empty message", [](auto& sdk) { return sdk.uartSendMessage(0x0102, {}); }, {2, 1, 5, 0x10, 0, 0}},
        {"long message", [](auto& sdk) { return sdk.uartSendMessage(0x0102, Bytes(65536, 0x55)); }, longMessage},
    });
}

} // namespace
