#include <cstdint>

#include "flat/call.hpp"
#include "tarvixsdk/flat.h"

StatusCode TarvixSDK_SpiControllerInit(TarvixSDK_Handle* handle, SpiBitOrder bitOrder, SpiMode mode,
                                       SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                       SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency)
{
    return call(handle, &TarvixSDK::spiControllerInit, bitOrder, mode, dataWidth, chipSelect, chipSelectPolarity,
                frequency);
}

StatusCode TarvixSDK_SpiSetParameters(TarvixSDK_Handle* handle, SpiBitOrder bitOrder, SpiMode mode,
                                      SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                      SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency)
{
    return call(handle, &TarvixSDK::spiSetParameters, bitOrder, mode, dataWidth, chipSelect, chipSelectPolarity,
                frequency);
}

StatusCode TarvixSDK_SpiTransfer(TarvixSDK_Handle* handle, const std::uint8_t* txData, std::uint16_t txLength,
                                 std::uint8_t* rxBuffer, std::uint16_t length)
{
    // Before the handle is tested: what a caller passes must be readable in any case.
    Bytes data = txData == nullptr ? Bytes() : copied(txData, txLength);
    return call(handle, true, [&](TarvixSDK& sdk) {
        Bytes read;
        return deliver(sdk.spiTransfer(data, read, length), read, rxBuffer);
    });
}
