// The adapter itself, its supply rails, GPIO, I2C, SPI and UART.
#include "golden/golden.hpp"

namespace golden {

namespace {

// One reading of both rails, for the getters.
constexpr const char* RAILS = "11 12 13 14 15 16 17";

constexpr GpioPinNumber BEYOND_PINS{0x105}; // undeclared, and more than a byte

std::string zeros(std::size_t count)
{
    return hexOf(Bytes(count));
}

// clang-format off
const Row BUS_ROWS[]{
    {SAME_CALLS(resetDevice, ResetDevice), .request = "01 04", .statusOnError = StatusCode::SUCCESS},
    {SAME_CALLS(enterBootMode, EnterBootMode), .request = "02 04", .statusOnError = StatusCode::SUCCESS},
    {CALLS(getUsbString, GetUsbString, (id, 3), (o.bytes, 3), (h, 3, a.buffer, 3, a.length)), .request = "07 04 03",
     .answer = "04 41 42 43", .data = "41 42 43", .refuses = NO_BUFFER | NO_LENGTH,
     .statusOnError = StatusCode::SUCCESS},
    {CALLS(getUsbString, GetUsbString, (id, 0xFF), (o.bytes, 0xFF), (h, 0xFF, nullptr, 0, a.length)),
     .request = "07 04 FF", .answer = "01 41", .data = "-", .refuses = NO_LENGTH, .statusOnError = StatusCode::SUCCESS},
    {BLOCKING_FLAT_CALLS(getDeviceInfo, GetDeviceInfo, (o.info), (h, a.info)), .request = "07 04 05",
     .answer = "03 41 42", .data = "ABABABABAB", .refuses = NO_BUFFER, .statusOnError = StatusCode::SUCCESS},

    // One shared rail under four names.
    {ASYNC_CALL(getAnalogMeasurements, (id)), .request = "09 04"},
    {SAME_CALLS(gpioSetVoltage, GpioSetVoltage, 0x1234, true), .request = "05 04 34 12 01"},
    {SAME_CALLS(i2cSetBusVoltage, I2cSetBusVoltage, 0x1234, true), .request = "05 04 34 12 01"},
    {SAME_CALLS(spiSetBusVoltage, SpiSetBusVoltage, 0x1234, true), .request = "05 04 34 12 01"},
    {SAME_CALLS(uartSetBusVoltage, UartSetBusVoltage, 0xFFFF, false), .request = "05 04 FF FF 00"},
    {SAME_CALLS(gpioUseExternalVoltage, GpioUseExternalVoltage, true), .request = "0B 04 01"},
    {SAME_CALLS(i2cUseExternalVoltage, I2cUseExternalVoltage, true), .request = "0B 04 01"},
    {SAME_CALLS(spiUseExternalVoltage, SpiUseExternalVoltage, true), .request = "0B 04 01"},
    {SAME_CALLS(uartUseExternalVoltage, UartUseExternalVoltage, false), .request = "0B 04 00"},
    {SAME_CALLS(i3cSetBusVoltage, I3cSetBusVoltage, 0x0C80), .request = "04 04 80 0C"},
    {SAME_CALLS(i3cUseExternalVoltage, I3cUseExternalVoltage, true), .request = "0A 04 01"},
    {BLOCKING_FLAT_CALLS(gpioGetVoltage, GpioGetVoltage, (o.word1), (h, a.word1)), .request = "09 04", .answer = RAILS,
     .values = "12 11", .refuses = NO_VALUE},
    {BLOCKING_FLAT_CALLS(i2cGetBusVoltage, I2cGetBusVoltage, (o.word1), (h, a.word1)), .request = "09 04",
     .answer = RAILS, .values = "12 11", .refuses = NO_VALUE},
    {BLOCKING_FLAT_CALLS(spiGetBusVoltage, SpiGetBusVoltage, (o.word1), (h, a.word1)), .request = "09 04",
     .answer = RAILS, .values = "12 11", .refuses = NO_VALUE},
    {BLOCKING_FLAT_CALLS(uartGetBusVoltage, UartGetBusVoltage, (o.word1), (h, a.word1)), .request = "09 04",
     .answer = RAILS, .values = "12 11", .refuses = NO_VALUE},
    {BLOCKING_FLAT_CALLS(i3cGetBusVoltage, I3cGetBusVoltage, (o.word1, o.word2), (h, a.word1, a.word2)),
     .request = "09 04", .answer = RAILS, .values = "14 13 16 15", .refuses = NO_VALUE | NO_SECOND_VALUE},

    // Enumerators travel as their low byte, whatever their value.
    {CALLS(gpioConfigurePin, GpioConfigurePin,
           (id, GpioPinNumber::PIN_7, GpioFunctionality::OPEN_DRAIN, GpioLogicLevel::HIGH),
           (GpioPinNumber::PIN_7, GpioFunctionality::OPEN_DRAIN, GpioLogicLevel::HIGH),
           (h, GpioPinNumber::PIN_7, GpioFunctionality::OPEN_DRAIN, true, GpioLogicLevel::HIGH)),
     .request = "01 14 07 04 01"},
    {FLAT_CALL(GpioConfigurePin, (h, GpioPinNumber::PIN_5, GpioFunctionality::OUTPUT, false, GpioLogicLevel::HIGH)),
     .request = "01 14 05 01 00"},
    {SAME_CALLS(gpioDigitalWrite, GpioDigitalWrite, BEYOND_PINS, GpioLogicLevel{0x1234}), .request = "02 14 05 34"},
    {CALLS(gpioDigitalRead, GpioDigitalRead, (id, GpioPinNumber::PIN_6), (GpioPinNumber::PIN_6, o.level),
           (h, GpioPinNumber::PIN_6, a.level)), .request = "03 14 06", .answer = "C5", .values = "C5"},
    {SAME_CALLS(gpioConfigureInterrupt, GpioConfigureInterrupt, GpioPinNumber::PIN_5, GpioTriggerType::BOTH_EDGES),
     .request = "04 14 05 02"},
    {SAME_CALLS(gpioDisableInterrupt, GpioDisableInterrupt, GpioPinNumber::PIN_4), .request = "05 14 04"},

    // A register address is folded: first byte most significant, then little-endian.
    {SAME_CALLS(i2cControllerInit, I2cControllerInit, 1, 400'000, 0x77), .request = "01 09 01 80 1A 06 00 77"},
    {SAME_CALLS(i2cSetParameters, I2cSetParameters, 9, 0x44332211, 0x77), .request = "02 09 09 11 22 33 44 77"},
    {SAME_CALLS(i2cSetPullUpResistors, I2cSetPullUpResistors, 1, 3), .request = "02 08 01 03"},
    {CALLS(i2cWrite, I2cWrite, (id, 1, 0x48, REGISTER, DATA, true), (1, 0x48, REGISTER, DATA, true),
           (h, 1, 0x48, a.in, a.registerLength, a.in, 3, true)),
     .request = "04 09 01 03 00 48 02 A2 A1 00 00 01 A1 A2 A3", .refuses = BAD_REGISTER | NO_DATA},
    {CLASS_CALLS(i2cWrite, (id, 1, 0x50, {0x12, 0x34}, DATA, true), (1, 0x50, {0x12, 0x34}, DATA, true)),
     .request = "04 09 01 03 00 50 02 34 12 00 00 01 A1 A2 A3"},
    {CALLS(i2cWrite, I2cWrite, (id, 0, 0x51, {}, {}, false), (0, 0x51, {}, {}, false),
           (h, 0, 0x51, nullptr, 0, nullptr, 0, false)), .request = "04 09 00 00 00 51 00 00 00 00 00 00"},
    {FLAT_CALL(I2cWrite, (h, 0, 0x51, a.in, 0, a.in, 0, false)), .request = "04 09 00 00 00 51 00 00 00 00 00 00"},
    {CALLS(i2cRead, I2cRead, (id, 1, 0x48, REGISTER, 4, true), (1, 0x48, REGISTER, 4, o.bytes, true),
           (h, 1, 0x48, a.in, a.registerLength, 4, a.buffer, true)), .request = "05 09 01 04 00 48 02 A2 A1 00 00 01",
     .answer = "F1 F2 F3 D1 D2 D3 D4 D5", .data = "D1 D2 D3 D4", .refuses = BAD_REGISTER | NO_BUFFER},
    {CALLS(i2cRead, I2cRead, (id, 0, 0x53, {}, 2, false), (0, 0x53, {}, 2, o.bytes, false),
           (h, 0, 0x53, nullptr, 0, 2, a.buffer, false)), .request = "05 09 00 02 00 53 00 00 00 00 00 00",
     .answer = "F1 F2 F3 D1", .data = "D1 00"},
    {CLASS_CALLS(i2cRead, (id, 1, 0x52, FOUR, 0x0201, true), (1, 0x52, FOUR, 0x0201, o.bytes, true)),
     .request = "05 09 01 01 02 52 04 04 03 02 01 01", .data = zeros(0x0201)},
    {CLASS_CALLS(i2cRead, (id, 0, 0x53, {0xAB}, 0, false), (0, 0x53, {0xAB}, 0, o.bytes, false)),
     .request = "05 09 00 00 00 53 01 AB 00 00 00 00", .answer = "F1 F2 F3 D1", .data = "-"},
    {CALLS(i2cScanBus, I2cScanBus, (id, 1, true), (o.bytes, &o.byte1, &o.byte2, 1, true),
           (h, a.buffer, 255, a.byte1, a.byte2, a.bus, true)), .request = "06 09 01 01",
     .answer = "F1 03 02 01 02 03 04 05 06 07 08", .values = "03 02", .data = "01 02 03 04 05 06 07",
     .refuses = NO_VALUE | NO_SECOND_VALUE | BAD_BUS | NO_BUFFER},
    {CLASS_CALLS(i2cScanBus, (id, 0, false), (o.bytes, &o.byte1, &o.byte2, 0, false)), .request = "06 09 00 00",
     .answer = "F1 00 00", .values = "00 00", .data = "-"},
    {ASYNC_CALL(i2cScanBus, (id, 5, true)), .request = "06 09 05 01"}, // unchecked, unlike in the blocking class

    {SAME_CALLS(spiControllerInit, SpiControllerInit, SpiBitOrder::LSB_FIRST, SpiMode::MODE_3, SpiDataWidth{0x108},
                SpiChipSelect::SELECT_2, SpiChipSelectPolarity{5}, 1'000'000),
     .request = "01 0D 01 03 08 02 05 40 42 0F 00"},
    {SAME_CALLS(spiSetParameters, SpiSetParameters, SpiBitOrder::MSB_FIRST, SpiMode::MODE_2, SpiDataWidth::BITS_16,
                SpiChipSelect::SELECT_3, SpiChipSelectPolarity::ACTIVE_HIGH, 0x44332211),
     .request = "02 0D 00 02 01 03 01 11 22 33 44"},
    {CALLS(spiTransfer, SpiTransfer, (id, DATA, 0x1234), (DATA, o.bytes, 0x1234), (h, a.in, 3, a.buffer, 0x1234)),
     .request = "04 0D 03 00 34 12 A1 A2 A3", .answer = "02 00 D1 D2 D3", .data = "D1 D2"},
    {CALLS(spiTransfer, SpiTransfer, (id, NOTHING, 4), (NOTHING, o.bytes, 4), (h, nullptr, 5, a.buffer, 4)),
     .request = "04 0D 00 00 04 00", .answer = "05 00 D1 D2 D3", .data = "D1 D2 D3 00 00"},
    {CLASS_CALLS(spiTransfer, (id, NOTHING, 0), (NOTHING, o.bytes, 0)), .request = "04 0D 00 00 00 00",
     .answer = "00 00 D1", .data = "-"},
    {FLAT_CALL(SpiTransfer, (h, a.in, 3, nullptr, 2)), .request = "04 0D 03 00 02 00 A1 A2 A3",
     .answer = "02 00 D1 D2"},

    {SAME_CALLS(uartInit, UartInit, UartBaudRate::BAUD_115200, UartHwHandshake::ENABLED, UartParity::EVEN,
                UartDataSize::BITS_8, UartStopBit{4}), .request = "02 10 07 01 02 03 04"},
    {SAME_CALLS(uartSetParameters, UartSetParameters, UartBaudRate{0x1FF}, UartHwHandshake{3}, UartParity::ODD,
                UartDataSize::BITS_7, UartStopBit::TWO), .request = "03 10 FF 03 01 02 01"},
    {SAME_CALLS(uartDeinit, UartDeinit), .request = "01 10"},
    {CALLS(uartSendMessage, UartSendMessage, (id, DATA), (DATA), (h, a.in, a.in == nullptr ? 0 : 3)),
     .request = "05 10 03 00 A1 A2 A3"},
    {CALLS(uartSendMessage, UartSendMessage, (id, {}), ({}), (h, nullptr, 0)), .request = "05 10 00 00"},
};
// clang-format on

} // namespace

std::span<const Row> busRows()
{
    return BUS_ROWS;
}

} // namespace golden
