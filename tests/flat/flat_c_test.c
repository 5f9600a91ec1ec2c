/*
 * A program in C that uses every kind of flat call, so that a mistake that only C sees (a width, a name, a missing
 * typedef) is found. It talks to the virtual adapter; what each function sends and refuses is tested elsewhere.
 */
#include <stdio.h>
#include <string.h>

#include <tarvixsdk/flat.h>

static int failures = 0;

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition);                              \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)
#define CHECK_SUCCESS(call) CHECK((call) == StatusCode_SUCCESS)

/* Written on the reader thread. A command that is answered behind a notification orders the two. */
static uint8_t received[256];
static size_t receivedLength = 0;

static void onNotification(const Notification* notification)
{
    UartRxNotification uart;
    GpioInterruptNotification gpio;
    CHECK(notification->kind == NotificationKind_UART_RX && !TarvixSDK_notificationAsGpio(notification, &gpio));
    if (TarvixSDK_notificationAsUartRx(notification, &uart)) {
        memcpy(received + receivedLength, uart.data, uart.dataLength);
        receivedLength += uart.dataLength;
    }
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

static void checkValuesAndArrays(TarvixSDK_Handle* handle)
{
    const uint8_t registerAddress[] = {0x10};
    const uint8_t data[] = {0xA1, 0xA2, 0xA3};
    uint8_t buffer[255] = {0};
    uint8_t oneByteCount = 0;
    uint8_t twoByteCount = 0;
    uint16_t voltage = 0;
    GpioLogicLevel level = GpioLogicLevel_LOW;

    CHECK_SUCCESS(TarvixSDK_GpioSetVoltage(handle, 1800, false));
    CHECK_SUCCESS(TarvixSDK_GpioGetVoltage(handle, &voltage));
    CHECK(voltage == 1800);
    CHECK_SUCCESS(
        TarvixSDK_GpioConfigurePin(handle, GpioPinNumber_PIN_3, GpioFunctionality_OUTPUT, true, GpioLogicLevel_HIGH));
    CHECK_SUCCESS(TarvixSDK_GpioDigitalRead(handle, GpioPinNumber_PIN_3, &level));
    CHECK(level == GpioLogicLevel_HIGH);

    CHECK_SUCCESS(TarvixSDK_I2cControllerInit(handle, 0, 400000, 0));
    CHECK_SUCCESS(TarvixSDK_I2cWrite(handle, 0, 0x50, registerAddress, 1, data, sizeof data, false));
    CHECK_SUCCESS(TarvixSDK_I2cRead(handle, 0, 0x50, registerAddress, 1, 3, buffer, false));
    CHECK(memcmp(buffer, data, sizeof data) == 0);
    CHECK(TarvixSDK_I2cWrite(handle, 0, 0x50, NULL, 5, data, 3, true) == StatusCode_INVALID_ARGUMENT);
    CHECK_SUCCESS(TarvixSDK_I2cScanBus(handle, buffer, 255, &oneByteCount, &twoByteCount, 0, false));
    CHECK(oneByteCount > 0);
}

static void checkRecords(TarvixSDK_Handle* handle)
{
    const I3cTargetConfiguration configuration = {.bits = {.bit0 = 1, .bit7 = 1}};
    static I3cTargetInfo table[255];
    uint8_t count = 0;
    uint8_t status[255];
    uint8_t length = 0;
    TarvixSDK_DeviceInfo info;

    CHECK(configuration.raw == 0x81);
    CHECK_SUCCESS(TarvixSDK_I3cControllerInit(handle, I3cPushPullRate_MHZ_12_5, I3cOpenDrainTransferRate_MHZ_4,
                                              I2cTransferRate_KHZ_400, I3cDriveStrength_MEDIUM));
    CHECK_SUCCESS(TarvixSDK_I3cInitBus(handle, table, 0));
    CHECK_SUCCESS(TarvixSDK_I3cCccENTDAA(handle));
    CHECK_SUCCESS(TarvixSDK_I3cGetDeviceTable(handle, table, 255, &count));
    CHECK(count > 0 && table[0].dynamicAddress != 0);
    CHECK_SUCCESS(TarvixSDK_I3cCccGETSTATUS(handle, table[0].dynamicAddress, status, &length, false, 0));
    CHECK(length == 2);

    CHECK_SUCCESS(TarvixSDK_GetDeviceInfo(handle, &info));
    CHECK(info.usbString1Length == strlen(info.usbString1) && info.usbString1Length > 0);
    TarvixSDK_FreeDeviceInfo(&info);
    CHECK(info.usbString1 == NULL && info.usbString5Length == 0);
}

static void checkNotifications(TarvixSDK_Handle* handle)
{
    TarvixSDK_onNotification(handle, onNotification);
    CHECK_SUCCESS(TarvixSDK_UartInit(handle, UartBaudRate_BAUD_115200, UartHwHandshake_DISABLED, UartParity_NONE,
                                     UartDataSize_BITS_8, UartStopBit_ONE));
    CHECK_SUCCESS(TarvixSDK_UartSendMessage(handle, (const uint8_t*)"abc", 3));
    CHECK_SUCCESS(TarvixSDK_UartDeinit(handle));
    CHECK(receivedLength == 3 && memcmp(received, "abc", 3) == 0);
    TarvixSDK_onNotification(handle, NULL);
}

int main(void)
{
    TarvixSDK_Handle* const handle = TarvixSDK_Create(30000);

    CHECK(strcmp(TarvixSDK_GetVersion(), TARVIXSDK_VERSION) == 0);
    CHECK(!TarvixSDK_Connect(NULL, NULL));
    CHECK(TarvixSDK_I2cRead(NULL, 0, 0, NULL, 9, 0, NULL, false) == StatusCode_NOT_CONNECTED);
    CHECK(TarvixSDK_UartDeinit(handle) == StatusCode_NOT_CONNECTED);
    CHECK(!TarvixSDK_ConnectWithSerialNumber(handle, "another"));
    CHECK(TarvixSDK_ConnectWithSerialNumber(handle, "TVX0000001"));

    checkWidths();
    checkValuesAndArrays(handle);
    checkRecords(handle);
    checkNotifications(handle);

    TarvixSDK_Disconnect(handle);
    TarvixSDK_Destroy(handle);
    TarvixSDK_Destroy(NULL);
    return failures == 0 ? 0 : 1;
}
