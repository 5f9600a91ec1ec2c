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

int main(int count, char** arguments)
{
    const int transfers = count == 3 ? atoi(arguments[2]) : 0;
    const uint8_t data[SIZE] = {1, 2, 3, 4};
    uint8_t* const heap = malloc(SIZE);
    TarvixSDK_Handle* const handle = TarvixSDK_Create(TIMEOUT_MS);
    int succeeded = 0;
    int refused = 0;
    int i;

    memset(zoned, MARK, sizeof zoned);
    if (transfers == 0 || heap == NULL ||
        TarvixSDK_Open(handle, NULL, NULL, (uint32_t)atoi(arguments[1]), NULL) != OpenStatus_OPENED) {
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
    memset(zoned + ZONE, MARK, SIZE);
    for (i = 0; i < (int)sizeof zoned; ++i) {
        succeeded = zoned[i] == MARK ? succeeded : -1;
    }
    return succeeded > transfers / 20 && refused > transfers / 100 ? 0 : 1;
}
