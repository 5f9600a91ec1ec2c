/* Reads register 0 of the sensor at address 0x48 on I2C port 0. */
#include <stdio.h>

#include <tarvixsdk/flat.h>

static StatusCode readSensor(TarvixSDK_Handle* sdk, uint8_t* data)
{
    const uint8_t reg = 0;
    StatusCode status;

    status = TarvixSDK_I2cControllerInit(sdk, 0, 400000, 0);
    if (status != StatusCode_SUCCESS) {
        return status;
    }
    return TarvixSDK_I2cRead(sdk, 0, 0x48, &reg, 1, 2, data, false);
}

static void tell(StatusCode status)
{
    const char* const name = TarvixSDK_StatusName(status);

    if (name != NULL) {
        fprintf(stderr, "sensor: %s\n", name);
    } else { /* the adapter's own: nothing at 0x48, for example */
        fprintf(stderr, "sensor: adapter status 0x%04x\n", status);
    }
}

int main(void)
{
    TarvixSDK_Handle* const sdk = TarvixSDK_Create(1000); /* ms */
    TarvixSDK_OpenResult opened;
    StatusCode status = StatusCode_NOT_CONNECTED;
    uint8_t data[2];

    TarvixSDK_Open(sdk, NULL, NULL, 0, &opened);
    if (opened.status != OpenStatus_OPENED) {
        fprintf(stderr, "temperature: %s\n", opened.message);
    } else {
        status = readSensor(sdk, data);
        if (status == StatusCode_SUCCESS) {
            printf("register 0: %02x %02x\n", data[0], data[1]);
        } else {
            tell(status);
        }
    }
    TarvixSDK_Destroy(sdk);
    return status != StatusCode_SUCCESS;
}
