/*
 * Reads 4 bytes from an adapter that sends garbage, into a buffer of 4 bytes with red zones around it: the heap's,
 * which AddressSanitizer watches, and our own.
 *
 *   small_buffer FLAGS TRANSFERS   flags of TarvixSDK_Open
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tarvixsdk/flat.h"

enum { SIZE = 4, ZONE = 65535, MARK = 0x5A, TIMEOUT_MS = 1 };

static uint8_t zoned[ZONE + SIZE + ZONE];

static int zonesAreWhole(void)
{
    size_t i;
    for (i = 0; i < ZONE; ++i) {
        if (zoned[i] != MARK || zoned[ZONE + SIZE + i] != MARK) {
            return 0;
        }
    }
    return 1;
}

int main(int count, char** arguments)
{
    const uint32_t flags = count == 3 ? (uint32_t)atoi(arguments[1]) : 0;
    const int transfers = count == 3 ? atoi(arguments[2]) : 0;
    const uint8_t data[SIZE] = {1, 2, 3, 4};
    uint8_t* const heap = malloc(SIZE);
    TarvixSDK_Handle* const handle = TarvixSDK_Create(TIMEOUT_MS);
    TarvixSDK_OpenResult result;
    int succeeded = 0;
    int refused = 0;
    int i;

    memset(zoned, MARK, sizeof zoned);
    if (heap == NULL || TarvixSDK_Open(handle, NULL, NULL, flags, &result) != OpenStatus_OPENED) {
        fprintf(stderr, "small_buffer: %s\n", result.message);
        return 1;
    }
    for (i = 0; i < 500; ++i) { /* its answer is garbage half of the time */
        if (TarvixSDK_SpiControllerInit(handle, SpiBitOrder_MSB_FIRST, SpiMode_MODE_0, SpiDataWidth_BITS_8,
                                        SpiChipSelect_SELECT_1, SpiChipSelectPolarity_ACTIVE_LOW,
                                        1000000) == StatusCode_SUCCESS) {
            break;
        }
    }
    for (i = 0; i < transfers; ++i) {
        uint8_t* const buffer = i % 2 == 0 ? heap : zoned + ZONE;
        const StatusCode status = TarvixSDK_SpiTransfer(handle, data, SIZE, buffer, SIZE);
        succeeded += status == StatusCode_SUCCESS;
        refused += status == StatusCode_UNEXPECTED_RESPONSE || status == StatusCode_RESPONSE_TOO_SHORT;
    }
    TarvixSDK_Destroy(handle);
    free(heap);
    printf("%d of %d succeeded, %d had another size\n", succeeded, transfers, refused);
    return zonesAreWhole() && succeeded > transfers / 10 && refused > transfers / 100 ? 0 : 1;
}
