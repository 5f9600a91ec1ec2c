#include <algorithm>
#include <cstdint>

#include "flat/call.hpp"
#include "tarvixsdk/flat.h"

StatusCode TarvixSDK_I2cControllerInit(TarvixSDK_Handle* handle, std::uint8_t bus, std::uint32_t frequency,
                                       std::uint8_t option)
{
    return call(handle, &TarvixSDK::i2cControllerInit, bus, frequency, option);
}

StatusCode TarvixSDK_I2cSetParameters(TarvixSDK_Handle* handle, std::uint8_t bus, std::uint32_t frequency,
                                      std::uint8_t option)
{
    return call(handle, &TarvixSDK::i2cSetParameters, bus, frequency, option);
}

StatusCode TarvixSDK_I2cSetPullUpResistors(TarvixSDK_Handle* handle, std::uint8_t bus, std::uint8_t pullUp)
{
    return call(handle, &TarvixSDK::i2cSetPullUpResistors, bus, pullUp);
}

StatusCode TarvixSDK_I2cWrite(TarvixSDK_Handle* handle, std::uint8_t bus, std::uint8_t targetAddress,
                              const std::uint8_t* registerAddress, std::uint8_t registerAddressLength,
                              const std::uint8_t* data, std::uint32_t dataLength, bool flag)
{
    return call(handle, &TarvixSDK::i2cWrite, bus, targetAddress,
                RegisterAddressIn(registerAddress, registerAddressLength), BytesIn(data, dataLength), flag);
}

StatusCode TarvixSDK_I2cRead(TarvixSDK_Handle* handle, std::uint8_t bus, std::uint8_t targetAddress,
                             const std::uint8_t* registerAddress, std::uint8_t registerAddressLength,
                             std::uint16_t length, std::uint8_t* readData, bool flag)
{
    return call(handle, &TarvixSDK::i2cRead, bus, targetAddress,
                RegisterAddressIn(registerAddress, registerAddressLength), length, BytesOut(readData), flag);
}

StatusCode TarvixSDK_I2cScanBus(TarvixSDK_Handle* handle, std::uint8_t* addresses, std::uint8_t capacity,
                                std::uint8_t* oneByteCount, std::uint8_t* twoByteCount, std::uint8_t bus, bool flag)
{
    Bytes found;
    // The counts and the bus are tested by the method, which does that before it looks at the connection.
    const StatusCode status = call(handle, &TarvixSDK::i2cScanBus, Checked(found, addresses != nullptr), oneByteCount,
                                   twoByteCount, bus, flag);
    if (status != StatusCode::SUCCESS) {
        return status;
    }
    // The scan has been made and the counts are written: they tell the caller how much room it takes.
    if (found.size() > capacity) {
        return StatusCode::INVALID_ARGUMENT;
    }
    std::copy(found.begin(), found.end(), addresses);
    return status;
}
