/*
 * Reads 4 bytes from an adapter that sends garbage, 10,000 times, into a buffer of 4 bytes in front of a zone that must
 * stay as it is: our own, or the heap's, which AddressSanitizer watches. The argument is for TarvixSDK_Open.
 */
#include <stdio.h>
#include <stdlib.h>

#include "tarvixsdk/flat.h"

enum { SIZE = 4, ZONE = 65535, TRANSFERS = 10000, TIMEOUT_MS = 1 };

static uint8_t zoned[SIZE + ZONE];

int main(int count, char** arguments)
{
    const uint8_t data[SIZE] = {1, 2, 3, 4};
    uint8_t* const heap = malloc(SIZE);
    TarvixSDK_Handle* const handle = TarvixSDK_Create(TIMEOUT_MS);
    int succeeded = 0;
    int spoilt = 0;
    int i;

    TarvixSDK_Open(handle, NULL, NULL, count > 1 ? (uint32_t)atoi(arguments[1]) : 0, NULL);
    while (TarvixSDK_SpiControllerInit(handle, SpiBitOrder_MSB_FIRST, SpiMode_MODE_0, SpiDataWidth_BITS_8,
                                       SpiChipSelect_SELECT_1, SpiChipSelectPolarity_ACTIVE_LOW,
                                       1000000) != StatusCode_SUCCESS) { /* its answer is garbage half of the time */
    }
    for (i = 0; i < TRANSFERS; ++i) {
        succeeded += TarvixSDK_SpiTransfer(handle, data, SIZE, i % 2 == 0 ? heap : zoned, SIZE) == StatusCode_SUCCESS;
    }
    TarvixSDK_Destroy(handle);
    free(heap);
    for (i = SIZE; i < SIZE + ZONE; ++i) {
        spoilt += zoned[i] != 0;
    }
    printf("%d of %d succeeded, %d bytes spoilt\n", succeeded, TRANSFERS, spoilt);
    return succeeded > TRANSFERS / 20 && succeeded < TRANSFERS * 19 / 20 && spoilt == 0 ? 0 : 1;
}
