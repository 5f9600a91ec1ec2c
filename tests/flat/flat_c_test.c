/*
 * A program in C that calls the flat interface, so that a mistake that only C sees (a width, a name, a missing
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
    CHECK(notification->kind == NotificationKind_UART_RX);
    if (TarvixSDK_notificationAsUartRx(notification, &uart)) {
        memcpy(received + receivedLength, uart.data, uart.dataLength);
        receivedLength += uart.dataLength;
    }
}

static void checkWidths(void)
{
    const I3cTargetConfiguration configuration = {.bits = {.bit0 = 1, .bit7 = 1}};

    CHECK(configuration.raw == 0x81);
    CHECK(sizeof(StatusCode) == 2);
    CHECK(sizeof(GpioPinNumber) == 4 && sizeof(I3cTransferFlags) == 4 && sizeof(NotificationKind) == 4);
    CHECK(sizeof(bool) == 1);
    CHECK(sizeof(I3cTargetInfo) == 16);
    CHECK(sizeof(I3cTargetConfiguration) == 1);
    CHECK(offsetof(Notification, data) == 8 && offsetof(Notification, length) == 16);
    CHECK(sizeof(TarvixSDK_DeviceInfo) == 10 * 8);
}

static void checkCalls(TarvixSDK_Handle* handle)
{
    const uint8_t registerAddress[] = {0x10};
    const uint8_t data[] = {0xA1, 0xA2, 0xA3};
    uint8_t buffer[3] = {0};
    GpioLogicLevel level = GpioLogicLevel_LOW;
    TarvixSDK_DeviceInfo info;

    CHECK_SUCCESS(
        TarvixSDK_GpioConfigurePin(handle, GpioPinNumber_PIN_3, GpioFunctionality_OUTPUT, true, GpioLogicLevel_HIGH));
    CHECK_SUCCESS(TarvixSDK_GpioDigitalRead(handle, GpioPinNumber_PIN_3, &level));
    CHECK(level == GpioLogicLevel_HIGH);

    CHECK_SUCCESS(TarvixSDK_I2cControllerInit(handle, 0, 400000, 0));
    CHECK_SUCCESS(TarvixSDK_I2cWrite(handle, 0, 0x50, registerAddress, 1, data, sizeof data, false));
    CHECK_SUCCESS(TarvixSDK_I2cRead(handle, 0, 0x50, registerAddress, 1, 3, buffer, false));
    CHECK(memcmp(buffer, data, sizeof data) == 0);

    CHECK_SUCCESS(TarvixSDK_GetDeviceInfo(handle, &info));
    CHECK(info.usbString1Length == strlen(info.usbString1) && info.usbString1Length > 0);
    TarvixSDK_FreeDeviceInfo(&info);

    TarvixSDK_onNotification(handle, onNotification);
    CHECK_SUCCESS(TarvixSDK_UartInit(handle, UartBaudRate_BAUD_115200, UartHwHandshake_DISABLED, UartParity_NONE,
                                     UartDataSize_BITS_8, UartStopBit_ONE));
    CHECK_SUCCESS(TarvixSDK_UartSendMessage(handle, (const uint8_t*)"abc", 3));
    CHECK_SUCCESS(TarvixSDK_UartDeinit(handle));
    CHECK(receivedLength == 3 && memcmp(received, "abc", 3) == 0);
}

int main(void)
{
    TarvixSDK_Handle* const handle = TarvixSDK_Create(30000);

    CHECK(strcmp(TarvixSDK_GetVersion(), TARVIXSDK_VERSION) == 0);
    CHECK(TarvixSDK_UartDeinit(handle) == StatusCode_NOT_CONNECTED);
    CHECK(!TarvixSDK_ConnectWithSerialNumber(handle, "another"));
    CHECK(TarvixSDK_ConnectWithSerialNumber(handle, "TVX0000001"));
    checkWidths();
    checkCalls(handle);
    TarvixSDK_Destroy(handle);
    return failures == 0 ? 0 : 1;
}
