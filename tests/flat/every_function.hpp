// Every flat function that returns a status: how to call it, and what it then sends. With the valid arguments of `Flat`
// the frame must come out; with `Arguments{}` everything that can be wrong is.
#pragma once

#include <array>
#include <stdexcept>
#include <string>

#include "flat_fixture.hpp"

inline constexpr StatusCode ADAPTER_ERROR{0x0123};

struct Function {
    const char* name;
    const char* frame; // from the command code on
    StatusCode (*call)(TarvixSDK_Handle* handle, const Arguments& a);
    StatusCode statusOnError = ADAPTER_ERROR; // what it returns when the adapter reports that
};

using H = TarvixSDK_Handle;
using A = const Arguments&;

inline const std::array EVERY_FUNCTION{
    Function{"ResetDevice", "01 04", [](H* h, A) { return TarvixSDK_ResetDevice(h); }, StatusCode::SUCCESS},
    Function{"EnterBootMode", "02 04", [](H* h, A) { return TarvixSDK_EnterBootMode(h); }, StatusCode::SUCCESS},
    Function{"GetDeviceInfo", "07 04 05", [](H* h, A a) { return TarvixSDK_GetDeviceInfo(h, a.info); },
             StatusCode::SUCCESS},

    Function{"GpioSetVoltage", "05 04 34 12 01", [](H* h, A) { return TarvixSDK_GpioSetVoltage(h, 0x1234, true); }},
    Function{"I2cSetBusVoltage", "05 04 34 12 01", [](H* h, A) { return TarvixSDK_I2cSetBusVoltage(h, 0x1234, true); }},
    Function{"SpiSetBusVoltage", "05 04 34 12 01", [](H* h, A) { return TarvixSDK_SpiSetBusVoltage(h, 0x1234, true); }},
    Function{"UartSetBusVoltage", "05 04 34 12 01",
             [](H* h, A) { return TarvixSDK_UartSetBusVoltage(h, 0x1234, true); }},
    Function{"I3cSetBusVoltage", "04 04 34 12", [](H* h, A) { return TarvixSDK_I3cSetBusVoltage(h, 0x1234); }},
    Function{"GpioUseExternalVoltage", "0B 04 01", [](H* h, A) { return TarvixSDK_GpioUseExternalVoltage(h, true); }},
    Function{"I2cUseExternalVoltage", "0B 04 01", [](H* h, A) { return TarvixSDK_I2cUseExternalVoltage(h, true); }},
    Function{"SpiUseExternalVoltage", "0B 04 01", [](H* h, A) { return TarvixSDK_SpiUseExternalVoltage(h, true); }},
    Function{"UartUseExternalVoltage", "0B 04 01", [](H* h, A) { return TarvixSDK_UartUseExternalVoltage(h, true); }},
    Function{"I3cUseExternalVoltage", "0A 04 01", [](H* h, A) { return TarvixSDK_I3cUseExternalVoltage(h, true); }},
    Function{"GpioGetVoltage", "09 04", [](H* h, A a) { return TarvixSDK_GpioGetVoltage(h, a.value16); }},
    Function{"I2cGetBusVoltage", "09 04", [](H* h, A a) { return TarvixSDK_I2cGetBusVoltage(h, a.value16); }},
    Function{"SpiGetBusVoltage", "09 04", [](H* h, A a) { return TarvixSDK_SpiGetBusVoltage(h, a.value16); }},
    Function{"UartGetBusVoltage", "09 04", [](H* h, A a) { return TarvixSDK_UartGetBusVoltage(h, a.value16); }},
    Function{"I3cGetBusVoltage", "09 04",
             [](H* h, A a) { return TarvixSDK_I3cGetBusVoltage(h, a.value16, a.secondValue16); }},

    Function{"GpioConfigurePin", "01 14 05 01 06",
             [](H* h, A) {
                 return TarvixSDK_GpioConfigurePin(h, GpioPinNumber::PIN_5, GpioFunctionality::OUTPUT, true,
                                                   GpioLogicLevel{6});
             }},
    Function{"GpioDigitalWrite", "02 14 05 01",
             [](H* h, A) { return TarvixSDK_GpioDigitalWrite(h, GpioPinNumber::PIN_5, GpioLogicLevel::HIGH); }},
    Function{"GpioDigitalRead", "03 14 05",
             [](H* h, A a) { return TarvixSDK_GpioDigitalRead(h, GpioPinNumber::PIN_5, a.level); }},
    Function{
        "GpioConfigureInterrupt", "04 14 05 02",
        [](H* h, A) { return TarvixSDK_GpioConfigureInterrupt(h, GpioPinNumber::PIN_5, GpioTriggerType::BOTH_EDGES); }},
    Function{"GpioDisableInterrupt", "05 14 05",
             [](H* h, A) { return TarvixSDK_GpioDisableInterrupt(h, GpioPinNumber::PIN_5); }},

    Function{"I2cControllerInit", "01 09 01 80 1A 06 00 07",
             [](H* h, A) { return TarvixSDK_I2cControllerInit(h, 1, 400'000, 7); }},
    Function{"I2cSetParameters", "02 09 01 80 1A 06 00 07",
             [](H* h, A) { return TarvixSDK_I2cSetParameters(h, 1, 400'000, 7); }},
    Function{"I2cSetPullUpResistors", "02 08 01 03", [](H* h, A) { return TarvixSDK_I2cSetPullUpResistors(h, 1, 3); }},
    Function{"I2cWrite", "04 09 01 03 00 48 02 A2 A1 00 00 01 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_I2cWrite(h, 1, 0x48, a.in, a.registerLength, a.in, 3, true); }},
    Function{"I2cRead", "05 09 01 04 00 48 02 A2 A1 00 00 01",
             [](H* h, A a) { return TarvixSDK_I2cRead(h, 1, 0x48, a.in, a.registerLength, 4, a.out, true); }},
    Function{"I2cScanBus", "06 09 01 01",
             [](H* h, A a) { return TarvixSDK_I2cScanBus(h, a.out, 255, a.value8, a.secondValue8, a.bus, true); }},

    Function{"SpiControllerInit", "01 0D 01 03 02 04 05 40 42 0F 00",
             [](H* h, A) {
                 return TarvixSDK_SpiControllerInit(h, SpiBitOrder::LSB_FIRST, SpiMode::MODE_3, SpiDataWidth{2},
                                                    SpiChipSelect{4}, SpiChipSelectPolarity{5}, 1'000'000);
             }},
    Function{"SpiSetParameters", "02 0D 01 03 02 04 05 40 42 0F 00",
             [](H* h, A) {
                 return TarvixSDK_SpiSetParameters(h, SpiBitOrder::LSB_FIRST, SpiMode::MODE_3, SpiDataWidth{2},
                                                   SpiChipSelect{4}, SpiChipSelectPolarity{5}, 1'000'000);
             }},
    Function{"SpiTransfer", "04 0D 03 00 07 00 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_SpiTransfer(h, a.in, 3, a.out, 7); }},

    Function{"UartInit", "02 10 07 01 02 03 04",
             [](H* h, A) {
                 return TarvixSDK_UartInit(h, UartBaudRate::BAUD_115200, UartHwHandshake::ENABLED, UartParity::EVEN,
                                           UartDataSize::BITS_8, UartStopBit{4});
             }},
    Function{"UartSetParameters", "03 10 07 01 02 03 04",
             [](H* h, A) {
                 return TarvixSDK_UartSetParameters(h, UartBaudRate::BAUD_115200, UartHwHandshake::ENABLED,
                                                    UartParity::EVEN, UartDataSize::BITS_8, UartStopBit{4});
             }},
    Function{"UartDeinit", "01 10", [](H* h, A) { return TarvixSDK_UartDeinit(h); }},
    Function{"UartSendMessage", "05 10 03 00 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_UartSendMessage(h, a.readable, a.readable == nullptr ? 0 : 3); }},

    Function{"I3cControllerInit", "01 19 04 03 02 01",
             [](H* h, A) {
                 return TarvixSDK_I3cControllerInit(h, I3cPushPullRate{4}, I3cOpenDrainTransferRate{3},
                                                    I2cTransferRate{2}, I3cDriveStrength{1});
             }},
    Function{"I3cSetParameters", "02 19 04 03 02 01",
             [](H* h, A) {
                 return TarvixSDK_I3cSetParameters(h, I3cPushPullRate{4}, I3cOpenDrainTransferRate{3},
                                                   I2cTransferRate{2}, I3cDriveStrength{1});
             }},
    Function{"I3cInitBus",
             "04 19 02 50 08 01 02 03 04 05 06 07 0A 02 01 04 03 0B 0C 51 09 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
             [](H* h, A) {
                 static constexpr I3cTargetInfo TARGETS[]{
                     {0x50, 0x08, {1, 2, 3, 4, 5, 6}, 7, 0x0A, 0x0102, 0x0304, 0x0B, 0x0C},
                     {0x51, 0x09, {}, 0, 0, 0, 0, 0, 0}};
                 return TarvixSDK_I3cInitBus(h, TARGETS, 2);
             }},
    Function{"I3cResetBus", "05 19", [](H* h, A) { return TarvixSDK_I3cResetBus(h); }},
    Function{"I3cGetDeviceTable", "06 19",
             [](H* h, A a) { return TarvixSDK_I3cGetDeviceTable(h, a.table, 8, a.length8); }},
    Function{"I3cSetTargetDeviceConfiguration", "07 19 30 A5",
             [](H* h, A) { return TarvixSDK_I3cSetTargetDeviceConfiguration(h, 0x30, 0xA5); }},
    Function{"I3cHdrExitPattern", "0A 19 01", [](H* h, A) { return TarvixSDK_I3cHdrExitPattern(h); }},
    Function{"I3cTargetResetPattern", "0A 19 00", [](H* h, A) { return TarvixSDK_I3cTargetResetPattern(h); }},

    Function{"I3cSdrRead", "08 19 30 11 00 02 A1 A2 00 00 04 00",
             [](H* h, A a) {
                 return TarvixSDK_I3cSdrRead(h, 0x30, a.in, a.registerLength, 4, a.out, a.length16,
                                             I3cTransferFlags::BIT_1);
             }},
    Function{"I3cSdrWrite", "08 19 30 10 00 02 A1 A2 00 00 03 00 A1 A2 A3",
             [](H* h, A a) {
                 return TarvixSDK_I3cSdrWrite(h, 0x30, a.in, a.registerLength, a.in, 3, I3cTransferFlags::BIT_1);
             }},
    Function{"I3cHdrDdrRead", "08 19 30 03 99 00 04 00",
             [](H* h, A a) { return TarvixSDK_I3cHdrDdrRead(h, 0x30, 0x99, 4, a.length16, a.out); }},
    Function{"I3cHdrDdrWrite", "08 19 30 02 19 00 03 00 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_I3cHdrDdrWrite(h, 0x30, 0x19, a.in, 3); }},
    Function{"I3cLegacyI2CRead", "08 19 50 15 00 02 A1 A2 00 00 04 00",
             [](H* h, A a) {
                 return TarvixSDK_I3cLegacyI2CRead(h, 0x50, a.in, a.registerLength, 4, a.out, I3cTransferFlags::BIT_1);
             }},
    Function{"I3cLegacyI2CWrite", "08 19 50 14 00 02 A1 A2 00 00 03 00 A1 A2 A3",
             [](H* h, A a) {
                 return TarvixSDK_I3cLegacyI2CWrite(h, 0x50, a.in, a.registerLength, a.in, 3, I3cTransferFlags::BIT_1);
             }},

    Function{"I3cCccENECBroadcast", "09 19 7E 10 01 00 0B",
             [](H* h, A) { return TarvixSDK_I3cCccENECBroadcast(h, 0x0B); }},
    Function{"I3cCccDISECBroadcast", "09 19 7E 10 01 01 0B",
             [](H* h, A) { return TarvixSDK_I3cCccDISECBroadcast(h, 0x0B); }},
    Function{"I3cCccENTAS0Broadcast", "09 19 7E 00 00 02 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS0Broadcast(h); }},
    Function{"I3cCccENTAS1Broadcast", "09 19 7E 00 00 03 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS1Broadcast(h); }},
    Function{"I3cCccENTAS2Broadcast", "09 19 7E 00 00 04 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS2Broadcast(h); }},
    Function{"I3cCccENTAS3Broadcast", "09 19 7E 00 00 05 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS3Broadcast(h); }},
    Function{"I3cCccRSTDAA", "09 19 7E 00 00 06 00", [](H* h, A) { return TarvixSDK_I3cCccRSTDAA(h); }},
    Function{"I3cCccENTDAA", "09 19 7E 00 00 07 00", [](H* h, A) { return TarvixSDK_I3cCccENTDAA(h); }},
    Function{"I3cCccSETMWLBroadcast", "09 19 7E 00 02 09 00 01 02",
             [](H* h, A) { return TarvixSDK_I3cCccSETMWLBroadcast(h, 0x0102); }},
    Function{"I3cCccSETMRLBroadcast", "09 19 7E 00 03 0A 00 01 02 20",
             [](H* h, A) { return TarvixSDK_I3cCccSETMRLBroadcast(h, 0x0102, true, 0x20); }},
    Function{"I3cCccSETBUSCONBroadcast", "09 19 7E 00 04 0C 00 66 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_I3cCccSETBUSCONBroadcast(h, 0x66, a.in, 3); }},
    Function{"I3cCccSETXTIMEBroadcast", "09 19 7E 00 04 28 00 66 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_I3cCccSETXTIMEBroadcast(h, 0x66, a.in, 3); }},
    Function{"I3cCccSETAASA", "09 19 7E 00 03 29 00 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_I3cCccSETAASA(h, a.in, 3); }},
    Function{"I3cCccRSTACTBroadcast", "09 19 7E 10 01 2A 02",
             [](H* h, A) { return TarvixSDK_I3cCccRSTACTBroadcast(h, I3cTargetResetDefByte::RESET_WHOLE_TARGET); }},
    Function{"I3cCccRSTGRPABroadcast", "09 19 7E 00 00 2C 00",
             [](H* h, A) { return TarvixSDK_I3cCccRSTGRPABroadcast(h); }},
    Function{"I3cCccENECDirect", "09 19 30 00 01 80 00 0B",
             [](H* h, A) { return TarvixSDK_I3cCccENECDirect(h, 0x30, 0x0B); }},
    Function{"I3cCccDISECDirect", "09 19 30 00 01 81 00 0B",
             [](H* h, A) { return TarvixSDK_I3cCccDISECDirect(h, 0x30, 0x0B); }},
    Function{"I3cCccENTAS0Direct", "09 19 30 00 00 82 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS0Direct(h, 0x30); }},
    Function{"I3cCccENTAS1Direct", "09 19 30 00 00 83 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS1Direct(h, 0x30); }},
    Function{"I3cCccENTAS2Direct", "09 19 30 00 00 84 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS2Direct(h, 0x30); }},
    Function{"I3cCccENTAS3Direct", "09 19 30 00 00 85 00",
             [](H* h, A) { return TarvixSDK_I3cCccENTAS3Direct(h, 0x30); }},
    Function{"I3cCccSETDASA", "09 19 50 00 01 87 00 14",
             [](H* h, A) { return TarvixSDK_I3cCccSETDASA(h, 0x50, 0x0A); }},
    Function{"I3cCccSETNEWDA", "09 19 30 00 01 88 00 14",
             [](H* h, A) { return TarvixSDK_I3cCccSETNEWDA(h, 0x30, 0x0A); }},
    Function{"I3cCccSETMWLDirect", "09 19 30 00 02 89 00 01 02",
             [](H* h, A) { return TarvixSDK_I3cCccSETMWLDirect(h, 0x30, 0x0102); }},
    Function{"I3cCccSETMRLDirect", "09 19 30 00 03 8A 00 01 02 20",
             [](H* h, A) { return TarvixSDK_I3cCccSETMRLDirect(h, 0x30, 0x0102, true, 0x20); }},
    Function{"I3cCccSETXTIMEDirect", "09 19 30 00 04 98 00 66 A1 A2 A3",
             [](H* h, A a) { return TarvixSDK_I3cCccSETXTIMEDirect(h, 0x30, 0x66, a.in, 3); }},
    Function{"I3cCccSETGRPADirect", "09 19 30 00 01 9B 00 14",
             [](H* h, A) { return TarvixSDK_I3cCccSETGRPADirect(h, 0x30, 0x0A); }},
    Function{"I3cCccRSTGRPADirect", "09 19 30 00 00 9C 00",
             [](H* h, A) { return TarvixSDK_I3cCccRSTGRPADirect(h, 0x30); }},
    Function{"I3cCccRSTACTDirect", "09 19 30 11 01 9A 81",
             [](H* h, A a) {
                 return TarvixSDK_I3cCccRSTACTDirect(h, 0x30, I3cTargetResetDefByte::TIME_RESET_PERIPHERAL,
                                                     I3cTransferDirection::READ, a.value8);
             }},
    Function{"I3cCccGETMWL", "09 19 30 01 02 8B 00",
             [](H* h, A a) { return TarvixSDK_I3cCccGETMWL(h, 0x30, a.value16); }},
    Function{"I3cCccGETMRL", "09 19 30 01 03 8C 00",
             [](H* h, A a) { return TarvixSDK_I3cCccGETMRL(h, 0x30, a.value16, a.value8, a.secondValue8); }},
    Function{"I3cCccGETPID", "09 19 30 01 06 8D 00", [](H* h, A a) { return TarvixSDK_I3cCccGETPID(h, 0x30, a.out); }},
    Function{"I3cCccGETBCR", "09 19 30 01 01 8E 00",
             [](H* h, A a) { return TarvixSDK_I3cCccGETBCR(h, 0x30, a.value8); }},
    Function{"I3cCccGETDCR", "09 19 30 01 01 8F 00",
             [](H* h, A a) { return TarvixSDK_I3cCccGETDCR(h, 0x30, a.value8); }},
    Function{"I3cCccGETSTATUS", "09 19 30 11 02 90 77",
             [](H* h, A a) { return TarvixSDK_I3cCccGETSTATUS(h, 0x30, a.out, a.length8, true, 0x77); }},
    Function{"I3cCccGETMXDS", "09 19 30 01 05 94 00",
             [](H* h, A a) { return TarvixSDK_I3cCccGETMXDS(h, 0x30, a.out, a.length8); }},
    Function{"I3cCccGETCAPS", "09 19 30 11 04 95 77",
             [](H* h, A a) { return TarvixSDK_I3cCccGETCAPS(h, 0x30, a.out, a.length8, true, 0x77); }},
    Function{"I3cCccGETXTIME", "09 19 30 01 04 99 00",
             [](H* h, A a) { return TarvixSDK_I3cCccGETXTIME(h, 0x30, a.out, a.length8); }},
};

inline const Function& function(const std::string& name)
{
    for (const Function& row : EVERY_FUNCTION) {
        if (row.name == name) {
            return row;
        }
    }
    throw std::logic_error("no function " + name);
}
