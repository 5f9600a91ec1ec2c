#include "async/requests.hpp"
#include "async/state.hpp"

namespace {

RequestFrame settings(TransactionId transactionId, CommandCode code, std::uint8_t bus, std::uint32_t frequency,
                      std::uint8_t option)
{
    return RequestFrame(transactionId, code).u8(bus).u32(frequency).u8(option);
}

// The fields that reads and writes share. The register address is folded into a number, first byte most significant,
// which travels little-endian: {0x12, 0x34} goes out as 34 12 00 00. The I3C private transfers send the bytes in order.
RequestFrame transfer(TransactionId transactionId, CommandCode code, std::uint8_t bus, std::uint16_t count,
                      std::uint8_t targetAddress, requests::Bytes registerAddress, bool flag, std::size_t dataSize)
{
    std::uint32_t folded = 0;
    for (const std::uint8_t byte : registerAddress) {
        folded = folded << 8 | byte;
    }
    return RequestFrame(transactionId, code, dataSize)
        .require(registerAddress.size() <= sizeof folded)
        .u8(bus)
        .u16(count)
        .u8(targetAddress)
        .u8(static_cast<std::uint8_t>(registerAddress.size()))
        .u32(folded)
        .flag(flag);
}

} // namespace

RequestFrame requests::i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                                Bytes registerAddress, Bytes data, bool flag)
{
    return transfer(transactionId, CommandCode::I2C_WRITE, bus, count16(data), targetAddress, registerAddress, flag,
                    data.size())
        .bytes(data);
}

RequestFrame requests::i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                               Bytes registerAddress, std::uint16_t length, bool flag)
{
    return transfer(transactionId, CommandCode::I2C_READ, bus, length, targetAddress, registerAddress, flag, 0);
}

StatusCode TarvixAsyncSDK::i2cControllerInit(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                             std::uint8_t option)
{
    return state_->send(settings(transactionId, CommandCode::I2C_CONTROLLER_INIT, bus, frequency, option));
}

StatusCode TarvixAsyncSDK::i2cSetParameters(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                            std::uint8_t option)
{
    return state_->send(settings(transactionId, CommandCode::I2C_SET_PARAMETERS, bus, frequency, option));
}

StatusCode TarvixAsyncSDK::i2cSetPullUpResistors(TransactionId transactionId, std::uint8_t bus, std::uint8_t pullUp)
{
    return state_->send(RequestFrame(transactionId, CommandCode::I2C_SET_PULL_UP_RESISTORS).u8(bus).u8(pullUp));
}

StatusCode TarvixAsyncSDK::i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                                    const std::vector<std::uint8_t>& registerAddress,
                                    const std::vector<std::uint8_t>& data, bool flag)
{
    return state_->send(requests::i2cWrite(transactionId, bus, targetAddress, registerAddress, data, flag));
}

StatusCode TarvixAsyncSDK::i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                                   const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, bool flag)
{
    return state_->send(requests::i2cRead(transactionId, bus, targetAddress, registerAddress, length, flag));
}

StatusCode TarvixAsyncSDK::i2cScanBus(TransactionId transactionId, std::uint8_t bus, bool flag)
{
    return state_->send(RequestFrame(transactionId, CommandCode::I2C_SCAN_BUS).u8(bus).flag(flag));
}
