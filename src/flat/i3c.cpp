#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "flat/call.hpp"
#include "tarvixsdk/flat.h"

StatusCode TarvixSDK_I3cControllerInit(TarvixSDK_Handle* handle, I3cPushPullRate pushPullRate,
                                       I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate,
                                       I3cDriveStrength driveStrength)
{
    return call(handle, &TarvixSDK::i3cControllerInit, pushPullRate, openDrainRate, i2cRate, driveStrength);
}

StatusCode TarvixSDK_I3cSetParameters(TarvixSDK_Handle* handle, I3cPushPullRate pushPullRate,
                                      I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate,
                                      I3cDriveStrength driveStrength)
{
    return call(handle, &TarvixSDK::i3cSetParameters, pushPullRate, openDrainRate, i2cRate, driveStrength);
}

StatusCode TarvixSDK_I3cInitBus(TarvixSDK_Handle* handle, const I3cTargetInfo* targets, std::uint8_t count)
{
    return transfer(handle, true, requests::i3cInitBus, std::span(targets, count));
}

StatusCode TarvixSDK_I3cResetBus(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cResetBus);
}

StatusCode TarvixSDK_I3cGetDeviceTable(TarvixSDK_Handle* handle, I3cTargetInfo* table, std::uint8_t capacity,
                                       std::uint8_t* count)
{
    return call(handle, table != nullptr && count != nullptr, [&](TarvixSDK& sdk) {
        std::vector<I3cTargetInfo> found;
        const StatusCode status = sdk.i3cGetDeviceTable(found);
        if (status == StatusCode::SUCCESS) {
            *count = static_cast<std::uint8_t>(std::min<std::size_t>(capacity, found.size()));
            std::copy_n(found.begin(), *count, table);
        }
        return status;
    });
}

StatusCode TarvixSDK_I3cSetTargetDeviceConfiguration(TarvixSDK_Handle* handle, std::uint8_t targetAddress,
                                                     std::uint8_t configuration)
{
    return call(handle, &TarvixSDK::i3cSetTargetDeviceConfiguration, targetAddress,
                I3cTargetConfiguration{configuration});
}

StatusCode TarvixSDK_I3cHdrExitPattern(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cHdrExitPattern);
}

StatusCode TarvixSDK_I3cTargetResetPattern(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cTargetResetPattern);
}

StatusCode TarvixSDK_I3cSdrRead(TarvixSDK_Handle* handle, std::uint8_t targetAddress,
                                const std::uint8_t* registerAddress, std::uint8_t registerAddressLength,
                                std::uint16_t length, std::uint8_t* data, std::uint16_t* dataLength,
                                I3cTransferFlags flags)
{
    return transfer(
        handle, isRegisterAddress(registerAddress, registerAddressLength) && data != nullptr && dataLength != nullptr,
        [&](Session& session) {
            return deliver(session.i3cSdrRead(targetAddress, requests::Bytes(registerAddress, registerAddressLength),
                                              length, flags),
                           data, dataLength);
        });
}

StatusCode TarvixSDK_I3cSdrWrite(TarvixSDK_Handle* handle, std::uint8_t targetAddress,
                                 const std::uint8_t* registerAddress, std::uint8_t registerAddressLength,
                                 const std::uint8_t* data, std::uint16_t dataLength, I3cTransferFlags flags)
{
    return transfer(handle, isRegisterAddress(registerAddress, registerAddressLength) && isArray(data, dataLength),
                    requests::i3cSdrWrite, targetAddress, requests::Bytes(registerAddress, registerAddressLength),
                    requests::Bytes(data, dataLength), flags);
}

StatusCode TarvixSDK_I3cHdrDdrRead(TarvixSDK_Handle* handle, std::uint8_t targetAddress, std::uint8_t command,
                                   std::uint16_t length, std::uint16_t* dataLength, std::uint8_t* data)
{
    return transfer(handle, data != nullptr && dataLength != nullptr, [&](Session& session) {
        return deliver(session.i3cHdrDdrRead(targetAddress, command, length), data, dataLength);
    });
}

StatusCode TarvixSDK_I3cHdrDdrWrite(TarvixSDK_Handle* handle, std::uint8_t targetAddress, std::uint8_t command,
                                    const std::uint8_t* data, std::uint16_t dataLength)
{
    return transfer(handle, isArray(data, dataLength), requests::i3cHdrDdrWrite, targetAddress, command,
                    requests::Bytes(data, dataLength));
}

StatusCode TarvixSDK_I3cLegacyI2CRead(TarvixSDK_Handle* handle, std::uint8_t targetAddress,
                                      const std::uint8_t* registerAddress, std::uint8_t registerAddressLength,
                                      std::uint16_t length, std::uint8_t* data, I3cTransferFlags flags)
{
    return transfer(
        handle, isRegisterAddress(registerAddress, registerAddressLength) && data != nullptr, [&](Session& session) {
            return deliver(session.i3cLegacyI2cRead(
                               targetAddress, requests::Bytes(registerAddress, registerAddressLength), length, flags),
                           data);
        });
}

StatusCode TarvixSDK_I3cLegacyI2CWrite(TarvixSDK_Handle* handle, std::uint8_t targetAddress,
                                       const std::uint8_t* registerAddress, std::uint8_t registerAddressLength,
                                       const std::uint8_t* data, std::uint16_t dataLength, I3cTransferFlags flags)
{
    return transfer(handle, isRegisterAddress(registerAddress, registerAddressLength) && isArray(data, dataLength),
                    requests::i3cLegacyI2cWrite, targetAddress, requests::Bytes(registerAddress, registerAddressLength),
                    requests::Bytes(data, dataLength), flags);
}
