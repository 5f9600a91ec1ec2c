#include "sync/session.hpp"

StatusCode TarvixSDK::spiControllerInit(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth,
                                        SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                                        std::uint32_t frequency)
{
    return session_
        ->exchange(&TarvixAsyncSDK::spiControllerInit, bitOrder, mode, dataWidth, chipSelect, chipSelectPolarity,
                   frequency)
        .status();
}

StatusCode TarvixSDK::spiSetParameters(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth,
                                       SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                                       std::uint32_t frequency)
{
    return session_
        ->exchange(&TarvixAsyncSDK::spiSetParameters, bitOrder, mode, dataWidth, chipSelect, chipSelectPolarity,
                   frequency)
        .status();
}

// The adapter decides how many bytes came, whatever was asked for.
TarvixSDK::Session::Reading TarvixSDK::Session::spiTransfer(requests::Bytes data, std::uint16_t transferLength)
{
    return {exchange(requests::spiTransfer, data, transferLength), counted16(6, 8, transferLength, transferLength)};
}

StatusCode TarvixSDK::spiTransfer(std::vector<std::uint8_t>& data, std::vector<std::uint8_t>& readData,
                                  std::uint16_t transferLength)
{
    return session_->spiTransfer(data, transferLength).into(readData);
}
