/*
 * Reads the temperature register of a sensor at address 0x48 on I2C port 0, two bytes with the most significant first,
 * then prints notifications until Enter is pressed. The sensor's alert output is expected on pin 0.
 *
 * usage: example_i2c_register [SERIAL]     without SERIAL: the only adapter attached
 */
#include <stdio.h>
#include <stdlib.h>

#include <tarvixsdk/flat.h>

enum {
    TIMEOUT_MS = 1000,
    BUS = 0,
    FREQUENCY_HZ = 100000,
    SENSOR = 0x48,
    TEMPERATURE_REGISTER = 0,
    ALERT_PIN = GpioPinNumber_PIN_0
};

/* Runs on the reader thread, so it prints and returns. The adapter declares the lengths; trust only `length`. */
static void printNotification(const Notification* notification)
{
    GpioInterruptNotification gpio;
    I3cIbiNotification ibi;
    I3cHotJoinNotification hotJoin;
    UartRxNotification uart;

    if (TarvixSDK_notificationAsGpio(notification, &gpio)) {
        printf("interrupt of pin %u\n", (unsigned)gpio.pinNumber);
    } else if (TarvixSDK_notificationAsI3cIbi(notification, &ibi)) {
        printf("in-band interrupt of target 0x%02x\n", (unsigned)ibi.targetAddress);
    } else if (TarvixSDK_notificationAsI3cHotJoin(notification, &hotJoin)) {
        printf("target 0x%02x joined the I3C bus\n", (unsigned)hotJoin.dynamicAddress);
    } else if (TarvixSDK_notificationAsUartRx(notification, &uart)) {
        const size_t held = notification->length - 8;
        printf("UART received %.*s\n", (int)(uart.dataLength < held ? uart.dataLength : held), (const char*)uart.data);
    } else {
        printf("notification of kind %u\n", (unsigned)notification->kind);
    }
    fflush(stdout);
}

static int succeeded(const char* what, StatusCode status)
{
    const char* const name = TarvixSDK_StatusName(status);

    if (status == StatusCode_SUCCESS) {
        return 1;
    }
    if (name != NULL) {
        fprintf(stderr, "%s: %s\n", what, name);
    } else { /* the number is defined by the firmware */
        fprintf(stderr, "%s: adapter status 0x%04x; is the target there, powered and pulled up?\n", what,
                (unsigned)status);
    }
    return 0;
}

static int readSensor(TarvixSDK_Handle* handle)
{
    const uint8_t registerAddress = TEMPERATURE_REGISTER;
    uint8_t bytes[2];

    if (!succeeded("setting I2C port 0 up", TarvixSDK_I2cControllerInit(handle, BUS, FREQUENCY_HZ, 0)) ||
        !succeeded("reading register 0 of target 0x48",
                   TarvixSDK_I2cRead(handle, BUS, SENSOR, &registerAddress, 1, sizeof bytes, bytes, false))) {
        return 0;
    }
    printf("register 0x%02x holds 0x%02x%02x\n", (unsigned)registerAddress, (unsigned)bytes[0], (unsigned)bytes[1]);
    return 1;
}

static int watchAlert(TarvixSDK_Handle* handle)
{
    int key;

    if (!succeeded("making pin 0 an input",
                   TarvixSDK_GpioConfigurePin(handle, ALERT_PIN, GpioFunctionality_INPUT_PULL_UP, false,
                                              GpioLogicLevel_LOW)) ||
        !succeeded("arming the interrupt of pin 0",
                   TarvixSDK_GpioConfigureInterrupt(handle, ALERT_PIN, GpioTriggerType_FALLING_EDGE))) {
        return 0;
    }
    printf("waiting for notifications; press Enter to stop\n");
    do {
        key = getchar();
    } while (key != '\n' && key != EOF);
    return succeeded("disarming the interrupt of pin 0", TarvixSDK_GpioDisableInterrupt(handle, ALERT_PIN));
}

int main(int argc, char** argv)
{
    TarvixSDK_Handle* handle;
    TarvixSDK_OpenResult opened;
    int ok = 0;

    if (argc > 2) {
        fprintf(stderr, "usage: %s [SERIAL]\n", argv[0]);
        return EXIT_FAILURE;
    }
    handle = TarvixSDK_Create(TIMEOUT_MS);
    TarvixSDK_onNotification(handle, printNotification);
    if (TarvixSDK_Open(handle, NULL, argc == 2 ? argv[1] : NULL, 0, &opened) == OpenStatus_OPENED) {
        ok = readSensor(handle) && watchAlert(handle);
    } else {
        fprintf(stderr, "%s: %s\n", argv[0], opened.message);
    }
    TarvixSDK_Destroy(handle);
    return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}
