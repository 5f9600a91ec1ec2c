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
    return transfer(handle, true, [&](Session& session) {
        const auto data = txData == nullptr ? requests::Bytes() : requests::Bytes(txData, txLength);
        return deliver(session.spiTransfer(data, length), rxBuffer);
    });
}
