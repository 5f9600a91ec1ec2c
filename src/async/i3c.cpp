#include "async/requests.hpp"
#include "async/state.hpp"

namespace {

constexpr std::size_t TARGET_INFO_SIZE = 16;
constexpr std::size_t REGISTER_ADDRESS_SIZE = 4; // bytes of the register address field

constexpr std::uint8_t TARGET_RESET_PATTERN = 0x00;
constexpr std::uint8_t HDR_EXIT_PATTERN = 0x01;

RequestFrame settings(TransactionId transactionId, CommandCode code, std::uint8_t pushPullRate,
                      std::uint8_t openDrainRate, std::uint8_t i2cRate, std::uint8_t driveStrength)
{
    return RequestFrame(transactionId, code).u8(pushPullRate).u8(openDrainRate).u8(i2cRate).u8(driveStrength);
}

// Direction in bit 0, mode in bits 1 and 2, the caller's flags from bit 3 on; flags beyond bit 7 are lost.
std::uint8_t modeByte(I3cTransferMode mode, I3cTransferDirection direction, I3cTransferFlags flags)
{
    return static_cast<std::uint8_t>(static_cast<unsigned>(flags) << 3 | static_cast<unsigned>(mode) << 1 |
                                     static_cast<unsigned>(direction));
}

// SDR and legacy I2C. The register address bytes travel in their order, then zeros; the I2C family folds them into a
// little-endian number instead.
RequestFrame registerTransfer(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t mode,
                              requests::Bytes registerAddress, std::uint16_t length, std::size_t dataSize)
{
    const std::size_t used = std::min(registerAddress.size(), REGISTER_ADDRESS_SIZE);
    RequestFrame frame(transactionId, CommandCode::I3C_PRIVATE_TRANSFER, dataSize);
    frame.require(registerAddress.size() <= REGISTER_ADDRESS_SIZE)
        .u8(targetAddress)
        .u8(mode)
        .u8(0) // HDR command
        .u8(static_cast<std::uint8_t>(registerAddress.size()))
        .bytes(registerAddress.first(used))
        .zeros(REGISTER_ADDRESS_SIZE - used)
        .u16(length);
    return frame;
}

RequestFrame registerRead(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferMode mode,
                          requests::Bytes registerAddress, std::uint16_t length, I3cTransferFlags flags)
{
    return registerTransfer(transactionId, targetAddress, modeByte(mode, I3cTransferDirection::READ, flags),
                            registerAddress, length, 0);
}

RequestFrame registerWrite(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferMode mode,
                           requests::Bytes registerAddress, requests::Bytes data, I3cTransferFlags flags)
{
    return registerTransfer(transactionId, targetAddress, modeByte(mode, I3cTransferDirection::WRITE, flags),
                            registerAddress, count16(data), data.size())
        .bytes(data);
}

// HDR-DDR has a command instead of a register, and no register address field: the length stands where the other
// transfers have the register's bytes.
RequestFrame hdrDdrTransfer(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferDirection direction,
                            std::uint8_t command, std::uint16_t length, std::size_t dataSize)
{
    return RequestFrame(transactionId, CommandCode::I3C_PRIVATE_TRANSFER, dataSize)
        .u8(targetAddress)
        .u8(modeByte(I3cTransferMode::HDR_DDR, direction, I3cTransferFlags::NONE))
        .u8(command)
        .u8(0) // register address length
        .u16(length);
}

} // namespace

RequestFrame requests::i3cInitBus(TransactionId transactionId, std::span<const I3cTargetInfo> targets)
{
    RequestFrame frame(transactionId, CommandCode::I3C_INIT_BUS, targets.size() * TARGET_INFO_SIZE);
    frame.u8(static_cast<std::uint8_t>(targets.size()));
    for (const I3cTargetInfo& target : targets) {
        frame.u8(target.staticAddress)
            .u8(target.dynamicAddress)
            .bytes(target.pid)
            .u8(target.bcr)
            .u8(target.dcr)
            .u16(target.extraWord1)
            .u16(target.extraWord2)
            .u8(target.extraByte1)
            .u8(target.extraByte2);
    }
    return frame;
}

RequestFrame requests::i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress,
                                  std::uint16_t length, I3cTransferFlags flags)
{
    return registerRead(transactionId, targetAddress, I3cTransferMode::SDR, registerAddress, length, flags);
}

RequestFrame requests::i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress,
                                   Bytes data, I3cTransferFlags flags)
{
    return registerWrite(transactionId, targetAddress, I3cTransferMode::SDR, registerAddress, data, flags);
}

RequestFrame requests::i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                                      Bytes data)
{
    return hdrDdrTransfer(transactionId, targetAddress, I3cTransferDirection::WRITE, command, count16(data),
                          data.size())
        .bytes(data);
}

RequestFrame requests::i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress,
                                        std::uint16_t length, I3cTransferFlags flags)
{
    return registerRead(transactionId, targetAddress, I3cTransferMode::LEGACY_I2C, registerAddress, length, flags);
}

RequestFrame requests::i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress,
                                         Bytes data, I3cTransferFlags flags)
{
    return registerWrite(transactionId, targetAddress, I3cTransferMode::LEGACY_I2C, registerAddress, data, flags);
}

StatusCode TarvixAsyncSDK::i3cControllerInit(TransactionId transactionId, std::uint8_t pushPullRate,
                                             std::uint8_t openDrainRate, std::uint8_t i2cRate,
                                             std::uint8_t driveStrength)
{
    return state_->send(
        settings(transactionId, CommandCode::I3C_CONTROLLER_INIT, pushPullRate, openDrainRate, i2cRate, driveStrength));
}

StatusCode TarvixAsyncSDK::i3cSetParameters(TransactionId transactionId, std::uint8_t pushPullRate,
                                            std::uint8_t openDrainRate, std::uint8_t i2cRate,
                                            std::uint8_t driveStrength)
{
    return state_->send(
        settings(transactionId, CommandCode::I3C_SET_PARAMETERS, pushPullRate, openDrainRate, i2cRate, driveStrength));
}

StatusCode TarvixAsyncSDK::i3cInitBus(TransactionId transactionId, std::vector<I3cTargetInfo> targets)
{
    return state_->send(requests::i3cInitBus(transactionId, targets));
}

StatusCode TarvixAsyncSDK::i3cResetBus(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::I3C_RESET_BUS));
}

StatusCode TarvixAsyncSDK::i3cGetDeviceTable(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::I3C_GET_DEVICE_TABLE));
}

StatusCode TarvixAsyncSDK::i3cSetTargetDeviceConfiguration(TransactionId transactionId, std::uint8_t targetAddress,
                                                           I3cTargetConfiguration configuration)
{
    return state_->send(
        RequestFrame(transactionId, CommandCode::I3C_SET_TARGET_CONFIGURATION).u8(targetAddress).u8(configuration.raw));
}

StatusCode TarvixAsyncSDK::i3cHdrExitPattern(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::I3C_BUS_PATTERN).u8(HDR_EXIT_PATTERN));
}

StatusCode TarvixAsyncSDK::i3cTargetResetPattern(TransactionId transactionId)
{
    return state_->send(RequestFrame(transactionId, CommandCode::I3C_BUS_PATTERN).u8(TARGET_RESET_PATTERN));
}

StatusCode TarvixAsyncSDK::i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress,
                                      const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                                      I3cTransferFlags flags)
{
    return state_->send(requests::i3cSdrRead(transactionId, targetAddress, registerAddress, length, flags));
}

StatusCode TarvixAsyncSDK::i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress,
                                       const std::vector<std::uint8_t>& registerAddress,
                                       const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return state_->send(requests::i3cSdrWrite(transactionId, targetAddress, registerAddress, data, flags));
}

StatusCode TarvixAsyncSDK::i3cHdrDdrRead(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                                         std::uint16_t length)
{
    return state_->send(hdrDdrTransfer(transactionId, targetAddress, I3cTransferDirection::READ, command, length, 0));
}

StatusCode TarvixAsyncSDK::i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                                          const std::vector<std::uint8_t>& data)
{
    return state_->send(requests::i3cHdrDdrWrite(transactionId, targetAddress, command, data));
}

StatusCode TarvixAsyncSDK::i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress,
                                            const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                                            I3cTransferFlags flags)
{
    return state_->send(requests::i3cLegacyI2cRead(transactionId, targetAddress, registerAddress, length, flags));
}

StatusCode TarvixAsyncSDK::i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress,
                                             const std::vector<std::uint8_t>& registerAddress,
                                             const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return state_->send(requests::i3cLegacyI2cWrite(transactionId, targetAddress, registerAddress, data, flags));
}
