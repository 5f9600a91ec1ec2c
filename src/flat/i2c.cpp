#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "flat/call.hpp"
#include "sync/payload.hpp"
#include "tarvixsdk/flat.h"

namespace {

bool isTransfer(const TarvixSDK_I2cTransfer& transfer)
{
    return transfer.registerAddressLength <= 4 &&
           (transfer.readData == nullptr ? isArray(transfer.writeData, transfer.length)
                                         : transfer.writeData == nullptr);
}

StatusCode send(TarvixAsyncSDK& sdk, TransactionId transactionId, std::uint8_t bus,
                const TarvixSDK_I2cTransfer& transfer)
{
    const Bytes registerAddress = copied(transfer.registerAddress, transfer.registerAddressLength);
    return transfer.readData != nullptr ? sdk.i2cRead(transactionId, bus, transfer.targetAddress, registerAddress,
                                                      transfer.length, transfer.flag)
                                        : sdk.i2cWrite(transactionId, bus, transfer.targetAddress, registerAddress,
                                                       copied(transfer.writeData, transfer.length), transfer.flag);
}

StatusCode take(const ResponseFrame& response, const TarvixSDK_I2cTransfer& transfer)
{
    if (transfer.readData == nullptr || response.status() != StatusCode::SUCCESS) {
        return response.status();
    }
    const Payload bytes = i2cReadBytes(transfer.length)(response);
    const StatusCode status = bytes.check(response);
    if (status == StatusCode::SUCCESS) {
        response.copyTo(transfer.readData, bytes.offset, bytes.declared);
    }
    return status;
}

} // namespace

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
    return transfer(handle, isRegisterAddress(registerAddress, registerAddressLength) && isArray(data, dataLength),
                    requests::i2cWrite, bus, targetAddress, requests::Bytes(registerAddress, registerAddressLength),
                    requests::Bytes(data, dataLength), flag);
}

StatusCode TarvixSDK_I2cRead(TarvixSDK_Handle* handle, std::uint8_t bus, std::uint8_t targetAddress,
                             const std::uint8_t* registerAddress, std::uint8_t registerAddressLength,
                             std::uint16_t length, std::uint8_t* readData, bool flag)
{
    return transfer(handle, isRegisterAddress(registerAddress, registerAddressLength) && readData != nullptr,
                    [&](Session& session) {
                        return deliver(session.i2cRead(bus, targetAddress,
                                                       requests::Bytes(registerAddress, registerAddressLength), length,
                                                       flag),
                                       readData);
                    });
}

StatusCode TarvixSDK_I2cTransfers(TarvixSDK_Handle* handle, std::uint8_t bus, const TarvixSDK_I2cTransfer* transfers,
                                  std::size_t count, std::size_t inFlight, std::size_t* completed)
{
    const bool valid = count == 0 || (transfers != nullptr && std::all_of(transfers, transfers + count, isTransfer));
    return transfer(handle, valid, [&](Session& session) {
        const TarvixSDK::JobResult result = session.runInFlight(
            count, inFlight,
            [&](TarvixAsyncSDK& sdk, TransactionId transactionId, std::size_t number) {
                return send(sdk, transactionId, bus, transfers[number]);
            },
            [&](std::size_t number, StatusCode, const Bytes& response) {
                return take(ResponseFrame(response), transfers[number]);
            });
        if (completed != nullptr) {
            *completed = result.command;
        }
        return result.status;
    });
}

StatusCode TarvixSDK_I2cScanBus(TarvixSDK_Handle* handle, std::uint8_t* addresses, std::uint8_t capacity,
                                std::uint8_t* oneByteCount, std::uint8_t* twoByteCount, std::uint8_t bus, bool flag)
{
    // The method checks the counts and the bus, before it looks at the connection.
    return call(handle, addresses != nullptr, [&](TarvixSDK& sdk) {
        Bytes found;
        const StatusCode status = sdk.i2cScanBus(found, oneByteCount, twoByteCount, bus, flag);
        // The scan has been made and the counts are written: they tell the caller how much room it takes.
        if (status == StatusCode::SUCCESS && found.size() > capacity) {
            return StatusCode::INVALID_ARGUMENT;
        }
        return deliver(status, found, addresses);
    });
}
