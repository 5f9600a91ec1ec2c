#include "sync/session.hpp"

namespace {

// Offsets in the responses.
constexpr std::size_t TABLE_COUNT = 6;
constexpr std::size_t TABLE_RECORDS = 7;
constexpr std::size_t I3C_READ_COUNT = 8;
constexpr std::size_t I3C_READ_DATA = 10;

template <typename Enumeration>
std::uint8_t byte(Enumeration value)
{
    return static_cast<std::uint8_t>(value);
}

I3cTargetInfo targetInfo(const ResponseFrame& response, std::size_t offset)
{
    I3cTargetInfo info{};
    info.staticAddress = response.u8(offset);
    info.dynamicAddress = response.u8(offset + 1);
    for (std::size_t i = 0; i < sizeof info.pid; ++i) {
        info.pid[i] = response.u8(offset + 2 + i);
    }
    info.bcr = response.u8(offset + 8);
    info.dcr = response.u8(offset + 9);
    info.extraWord1 = response.u16(offset + 10);
    info.extraWord2 = response.u16(offset + 12);
    info.extraByte1 = response.u8(offset + 14);
    info.extraByte2 = response.u8(offset + 15);
    return info;
}

Payload records(const ResponseFrame& response)
{
    const std::size_t size = response.u8(TABLE_COUNT) * sizeof(I3cTargetInfo);
    return {TABLE_RECORDS, size, 0, size};
}

// A private read: the adapter decides how many bytes came, whatever was asked for. An I3C target may end it early.
auto upTo(std::uint16_t length)
{
    return counted16(I3C_READ_COUNT, I3C_READ_DATA, 0, length);
}

} // namespace

TarvixSDK::Session::Reading TarvixSDK::Session::i3cSdrRead(std::uint8_t targetAddress, requests::Bytes registerAddress,
                                                           std::uint16_t length, I3cTransferFlags flags)
{
    return {exchange(requests::i3cSdrRead, targetAddress, registerAddress, length, flags), upTo(length)};
}

TarvixSDK::Session::Reading TarvixSDK::Session::i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command,
                                                              std::uint16_t length)
{
    return {exchange(&TarvixAsyncSDK::i3cHdrDdrRead, targetAddress, command, length), upTo(length)};
}

TarvixSDK::Session::Reading TarvixSDK::Session::i3cLegacyI2cRead(std::uint8_t targetAddress,
                                                                 requests::Bytes registerAddress, std::uint16_t length,
                                                                 I3cTransferFlags flags)
{
    return {exchange(requests::i3cLegacyI2cRead, targetAddress, registerAddress, length, flags),
            counted16(I3C_READ_COUNT, I3C_READ_DATA, length, length)}; // an I2C target cannot end it
}

StatusCode TarvixSDK::i3cControllerInit(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                        I2cTransferRate i2cRate, I3cDriveStrength driveStrength)
{
    return session_
        ->exchange(&TarvixAsyncSDK::i3cControllerInit, byte(pushPullRate), byte(openDrainRate), byte(i2cRate),
                   byte(driveStrength))
        .status();
}

StatusCode TarvixSDK::i3cSetParameters(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                       I2cTransferRate i2cRate, I3cDriveStrength driveStrength)
{
    return session_
        ->exchange(&TarvixAsyncSDK::i3cSetParameters, byte(pushPullRate), byte(openDrainRate), byte(i2cRate),
                   byte(driveStrength))
        .status();
}

StatusCode TarvixSDK::i3cInitBus(std::vector<I3cTargetInfo> targets)
{
    return session_->exchange(requests::i3cInitBus, targets).status();
}

StatusCode TarvixSDK::i3cResetBus()
{
    return session_->exchange(&TarvixAsyncSDK::i3cResetBus).status();
}

StatusCode TarvixSDK::i3cGetDeviceTable(std::vector<I3cTargetInfo>& table)
{
    return session_->exchange(&TarvixAsyncSDK::i3cGetDeviceTable).then(records, [&](const ResponseFrame& response) {
        table.clear();
        for (std::size_t i = 0; i < response.u8(TABLE_COUNT); ++i) {
            table.push_back(targetInfo(response, TABLE_RECORDS + i * sizeof(I3cTargetInfo)));
        }
    });
}

StatusCode TarvixSDK::i3cSetTargetDeviceConfiguration(std::uint8_t targetAddress, I3cTargetConfiguration configuration)
{
    return session_->exchange(&TarvixAsyncSDK::i3cSetTargetDeviceConfiguration, targetAddress, configuration).status();
}

StatusCode TarvixSDK::i3cHdrExitPattern()
{
    return session_->exchange(&TarvixAsyncSDK::i3cHdrExitPattern).status();
}

StatusCode TarvixSDK::i3cTargetResetPattern()
{
    return session_->exchange(&TarvixAsyncSDK::i3cTargetResetPattern).status();
}

StatusCode TarvixSDK::i3cSdrRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                 std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return session_->i3cSdrRead(targetAddress, registerAddress, length, flags).into(data);
}

StatusCode TarvixSDK::i3cSdrWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                  const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return session_->exchange(requests::i3cSdrWrite, targetAddress, registerAddress, data, flags).status();
}

StatusCode TarvixSDK::i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length,
                                    std::vector<std::uint8_t>& data)
{
    return session_->i3cHdrDdrRead(targetAddress, command, length).into(data);
}

StatusCode TarvixSDK::i3cHdrDdrWrite(std::uint8_t targetAddress, std::uint8_t command,
                                     const std::vector<std::uint8_t>& data)
{
    return session_->exchange(requests::i3cHdrDdrWrite, targetAddress, command, data).status();
}

StatusCode TarvixSDK::i3cLegacyI2cRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                       std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return session_->i3cLegacyI2cRead(targetAddress, registerAddress, length, flags).into(data);
}

StatusCode TarvixSDK::i3cLegacyI2cWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                        const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return session_->exchange(requests::i3cLegacyI2cWrite, targetAddress, registerAddress, data, flags).status();
}
