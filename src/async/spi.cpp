#include "async/requests.hpp"
#include "async/state.hpp"

namespace {

RequestFrame settings(TransactionId transactionId, CommandCode code, SpiBitOrder bitOrder, SpiMode mode,
                      SpiDataWidth dataWidth, SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                      std::uint32_t frequency)
{
    return RequestFrame(transactionId, code)
        .u8(bitOrder)
        .u8(mode)
        .u8(dataWidth)
        .u8(chipSelect)
        .u8(chipSelectPolarity)
        .u32(frequency);
}

} // namespace

RequestFrame requests::spiTransfer(TransactionId transactionId, Bytes data, std::uint16_t transferLength)
{
    return RequestFrame(transactionId, CommandCode::SPI_TRANSFER, data.size())
        .u16(count16(data))
        .u16(transferLength)
        .bytes(data);
}

StatusCode TarvixAsyncSDK::spiControllerInit(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode,
                                             SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                             SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency)
{
    return state_->send(settings(transactionId, CommandCode::SPI_CONTROLLER_INIT, bitOrder, mode, dataWidth, chipSelect,
                                 chipSelectPolarity, frequency));
}

StatusCode TarvixAsyncSDK::spiSetParameters(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode,
                                            SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                            SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency)
{
    return state_->send(settings(transactionId, CommandCode::SPI_SET_PARAMETERS, bitOrder, mode, dataWidth, chipSelect,
                                 chipSelectPolarity, frequency));
}

StatusCode TarvixAsyncSDK::spiTransfer(TransactionId transactionId, std::vector<std::uint8_t>& data,
                                       std::uint16_t transferLength)
{
    return state_->send(requests::spiTransfer(transactionId, data, transferLength));
}
