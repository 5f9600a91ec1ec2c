/*
 * A program in C that uses every kind of flat call, so that a mistake that only C sees (a width, a name, a missing
 * typedef) is found. What each function sends and refuses is tested elsewhere.
 */
#include <stdio.h>
#include <string.h>

#include "fake_hid_c.h"
#include <tarvixsdk/flat.h>

static int failures = 0;

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition);                              \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)

/* String literals as bytes: the size without the terminator. */
#define ANSWER(text) fake_hid_answer((const uint8_t*)(text), sizeof(text) - 1)
#define CHECK_SENT(text) CHECK(fake_hid_sent((const uint8_t*)(text), sizeof(text) - 1))

static const StatusCode ADAPTER_ERROR = 0x0123;

/* Written by the callback on the reader thread. A command that is answered behind a notification orders the two. */
static unsigned calls = 0;
static Notification lastRecord;
static uint8_t lastBytes[256];

static void onNotification(const Notification* notification)
{
    ++calls;
    lastRecord = *notification;
    memcpy(lastBytes, notification->data, notification->length);
    lastRecord.data = lastBytes;
}

static void checkWidths(void)
{
    CHECK(sizeof(StatusCode) == 2);
    CHECK(sizeof(GpioPinNumber) == 4 && sizeof(I3cTransferFlags) == 4 && sizeof(NotificationKind) == 4);
    CHECK(sizeof(bool) == 1);
    CHECK(sizeof(I3cTargetInfo) == 16);
    CHECK(sizeof(I3cTargetConfiguration) == 1);
    CHECK(offsetof(Notification, data) == 8 && offsetof(Notification, length) == 16);
    CHECK(sizeof(TarvixSDK_DeviceInfo) == 10 * 8);
}

static void checkNullHandle(void)
{
    CHECK(!TarvixSDK_Connect(NULL, NULL));
    CHECK(TarvixSDK_I2cRead(NULL, 0, 0, NULL, 9, 0, NULL, false) == StatusCode_NOT_CONNECTED);
    TarvixSDK_Destroy(NULL);
}

static void checkValues(TarvixSDK_Handle* handle)
{
    GpioLogicLevel level = GpioLogicLevel_LOW;
    uint16_t voltage1 = 0;
    uint16_t voltage2 = 0;

    ANSWER("\x00\x00\x01\x02\x03\x04\x05\x06");
    CHECK(TarvixSDK_GpioConfigurePin(handle, GpioPinNumber_PIN_3, GpioFunctionality_OUTPUT, true,
                                     GpioLogicLevel_HIGH) == StatusCode_SUCCESS);
    CHECK_SENT("\x01\x14\x03\x01\x01");
    CHECK(TarvixSDK_GpioDigitalRead(handle, GpioPinNumber_PIN_3, &level) == StatusCode_SUCCESS);
    CHECK(level == GpioLogicLevel_HIGH);
    CHECK(TarvixSDK_I3cGetBusVoltage(handle, &voltage1, &voltage2) == StatusCode_SUCCESS);
    CHECK(voltage1 == 0x0403 && voltage2 == 0x0605);
    CHECK(TarvixSDK_I2cControllerInit(handle, 1, 400000, 0) == StatusCode_SUCCESS);
    CHECK_SENT("\x01\x09\x01\x80\x1A\x06\x00\x00");

    ANSWER("\x23\x01");
    CHECK(TarvixSDK_GpioSetVoltage(handle, 1800, true) == ADAPTER_ERROR);
    CHECK_SENT("\x05\x04\x08\x07\x01");
}

static void checkArrays(TarvixSDK_Handle* handle)
{
    const uint8_t registerAddress[] = {0x12, 0x34};
    const uint8_t data[] = {0xA1, 0xA2, 0xA3};
    uint8_t buffer[255] = {0};
    static uint8_t largeBuffer[65535];
    uint8_t length = 0;
    uint16_t longLength = 0;
    uint8_t oneByteCount = 0;
    uint8_t twoByteCount = 0;

    ANSWER("\x00\x00\x01\x02\x03\xD1\xD2");
    CHECK(TarvixSDK_I2cRead(handle, 1, 0x48, registerAddress, 2, 2, buffer, false) == StatusCode_SUCCESS);
    CHECK_SENT("\x05\x09\x01\x02\x00\x48\x02\x34\x12\x00\x00\x00");
    CHECK(buffer[0] == 0xD1 && buffer[1] == 0xD2);
    CHECK(TarvixSDK_I2cWrite(handle, 1, 0x48, NULL, 0, data, sizeof data, true) == StatusCode_SUCCESS);
    CHECK_SENT("\x04\x09\x01\x03\x00\x48\x00\x00\x00\x00\x00\x01\xA1\xA2\xA3");
    CHECK(TarvixSDK_I2cWrite(handle, 1, 0x48, NULL, 5, data, sizeof data, true) == StatusCode_INVALID_ARGUMENT);
    CHECK(TarvixSDK_UartSendMessage(handle, data, sizeof data) == StatusCode_SUCCESS);

    ANSWER("\x00\x00\x00\x02\x00\x08\x09");
    CHECK(TarvixSDK_I2cScanBus(handle, buffer, 255, &oneByteCount, &twoByteCount, 0, false) == StatusCode_SUCCESS);
    CHECK(oneByteCount == 2 && twoByteCount == 0 && buffer[0] == 0x08 && buffer[1] == 0x09);

    ANSWER("\x00\x00\x00\x00\x03\x00\xD1\xD2\xD3");
    CHECK(TarvixSDK_I3cSdrRead(handle, 0x08, NULL, 0, 3, largeBuffer, &longLength, I3cTransferFlags_NONE) ==
          StatusCode_SUCCESS);
    CHECK(longLength == 3 && largeBuffer[2] == 0xD3);

    ANSWER("\x00\x00\x00\x00\x00\x02\xD1\xD2");
    CHECK(TarvixSDK_I3cCccGETSTATUS(handle, 0x08, buffer, &length, true, 0x91) == StatusCode_SUCCESS);
    CHECK_SENT("\x09\x19\x08\x11\x02\x90\x91");
    CHECK(length == 2 && buffer[0] == 0xD1);
    CHECK(TarvixSDK_I3cCccSETXTIMEDirect(handle, 0x08, 0x9F, NULL, 0) == StatusCode_SUCCESS);
    CHECK_SENT("\x09\x19\x08\x00\x01\x98\x00\x9F");
}

static void checkRecords(TarvixSDK_Handle* handle)
{
    const I3cTargetInfo target = {.staticAddress = 0x50, .dynamicAddress = 0x08, .pid = {1, 2, 3, 4, 5, 6}};
    const I3cTargetConfiguration configuration = {.bits = {.bit0 = 1, .bit7 = 1}};
    I3cTargetInfo table[2];
    uint8_t count = 0;
    TarvixSDK_DeviceInfo info;

    ANSWER("\x00\x00\x01\x51\x09\x01\x02\x03\x04\x05\x06\x07\x08\x02\x01\x04\x03\x05\x06");
    CHECK(TarvixSDK_I3cInitBus(handle, &target, 1) == StatusCode_SUCCESS);
    CHECK_SENT("\x04\x19\x01\x50\x08\x01\x02\x03\x04\x05\x06\x00\x00\x00\x00\x00\x00\x00\x00");
    CHECK(TarvixSDK_I3cGetDeviceTable(handle, table, 2, &count) == StatusCode_SUCCESS);
    CHECK(count == 1 && table[0].dynamicAddress == 0x09 && table[0].dcr == 0x08 && table[0].extraWord1 == 0x0102);
    CHECK(TarvixSDK_I3cSetTargetDeviceConfiguration(handle, 0x09, configuration.raw) == StatusCode_SUCCESS);
    CHECK_SENT("\x07\x19\x09\x81");

    ANSWER("\x00\x00\x05Maker");
    CHECK(TarvixSDK_GetDeviceInfo(handle, &info) == StatusCode_SUCCESS);
    CHECK(info.usbString5Length == 4 && strcmp(info.usbString5, "Make") == 0);
    TarvixSDK_FreeDeviceInfo(&info);
    CHECK(info.usbString1 == NULL && info.usbString5Length == 0);
}

static void checkNotifications(TarvixSDK_Handle* handle)
{
    static const uint8_t UART_FRAME[] = {0, 0, 0x81, 0x10, 0, 0, 3, 0, 'a', 'b', 'c'};
    UartRxNotification uart;
    GpioInterruptNotification gpio;

    ANSWER("\x00\x00");
    TarvixSDK_onNotification(handle, onNotification);
    fake_hid_notify(UART_FRAME, sizeof UART_FRAME);
    CHECK(TarvixSDK_UartDeinit(handle) == StatusCode_SUCCESS);
    CHECK(calls == 1);
    CHECK(lastRecord.kind == NotificationKind_UART_RX && lastRecord.length == sizeof UART_FRAME);
    CHECK(!TarvixSDK_notificationAsGpio(&lastRecord, &gpio));
    CHECK(TarvixSDK_notificationAsUartRx(&lastRecord, &uart));
    CHECK(uart.dataLength == 3 && memcmp(uart.data, "abc", 3) == 0);
    TarvixSDK_onNotification(handle, NULL);
}

int main(void)
{
    TarvixSDK_Handle* handle;

    fake_hid_attach();
    handle = TarvixSDK_Create(30000);
    CHECK(strcmp(TarvixSDK_GetVersion(), TARVIXSDK_VERSION) == 0);
    CHECK(TarvixSDK_UartDeinit(handle) == StatusCode_NOT_CONNECTED);
    CHECK(!TarvixSDK_ConnectWithSerialNumber(handle, "another"));
    CHECK(TarvixSDK_ConnectWithSerialNumber(handle, "TVX0000001"));

    checkWidths();
    checkNullHandle();
    checkValues(handle);
    checkArrays(handle);
    checkRecords(handle);
    checkNotifications(handle);

    TarvixSDK_Disconnect(handle);
    TarvixSDK_Destroy(handle);
    return failures == 0 ? 0 : 1;
}
