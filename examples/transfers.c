/*
 * Reads four registers of the sensor at 0x48 on I2C port 0 in one job:
 * each request is sent before the answer to the one before has come.
 */
#include <stdio.h>

#include <tarvixsdk/flat.h>

enum { COUNT = 4 };

static uint8_t data[COUNT][2];
static size_t done;

static StatusCode readAll(TarvixSDK_Handle* sdk)
{
    TarvixSDK_I2cTransfer list[COUNT] = {{0}};
    StatusCode status;
    uint8_t i;

    for (i = 0; i < COUNT; ++i) {
        list[i].targetAddress = 0x48;
        list[i].registerAddressLength = 1;
        list[i].registerAddress[0] = i;
        list[i].readData = data[i];
        list[i].length = 2;
    }
    status = TarvixSDK_I2cControllerInit(sdk, 0, 400000, 0);
    if (status != StatusCode_SUCCESS) {
        return status;
    }
    return TarvixSDK_I2cTransfers(sdk, 0, list, COUNT, COUNT, &done);
}

static void tell(StatusCode status)
{
    const char* const name = TarvixSDK_StatusName(status);

    if (name != NULL) {
        fprintf(stderr, "transfers: %s\n", name);
    } else {
        fprintf(stderr, "transfers: adapter status 0x%04x\n", status);
    }
}

int main(void)
{
    TarvixSDK_Handle* const sdk = TarvixSDK_Create(1000); /* ms */
    TarvixSDK_OpenResult opened;
    StatusCode status = StatusCode_NOT_CONNECTED;
    size_t i;

    TarvixSDK_Open(sdk, NULL, NULL, 0, &opened);
    if (opened.status != OpenStatus_OPENED) {
        fprintf(stderr, "transfers: %s\n", opened.message);
    } else {
        status = readAll(sdk);
        for (i = 0; i < done; ++i) {
            printf("%d: %02x%02x\n", (int)i, data[i][0], data[i][1]);
        }
        if (status != StatusCode_SUCCESS) {
            tell(status);
        }
    }
    TarvixSDK_Destroy(sdk);
    return status != StatusCode_SUCCESS;
}
