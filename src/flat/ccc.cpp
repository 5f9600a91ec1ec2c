#include <cstddef>
#include <cstdint>
#include <optional>

#include "flat/call.hpp"
#include "tarvixsdk/flat.h"

StatusCode TarvixSDK_I3cCccTransfer(TarvixSDK_Handle* handle, std::uint8_t targetAddress,
                                    I3cTransferDirection direction, I3cTransferMode mode, bool transferFlag,
                                    I3cCccType cccType, std::uint8_t length, CCC ccc, std::uint8_t definingByte,
                                    const std::uint8_t* data, std::size_t dataLength, std::uint8_t* readData,
                                    std::uint8_t* readLength)
{
    const bool reads = direction == I3cTransferDirection::READ;
    const bool hasRoom = !reads || (readLength != nullptr && isArray(readData, length));
    return transfer(handle, isArray(data, dataLength) && hasRoom, [&](Session& session) {
        const auto read = session.i3cCccTransfer(targetAddress, direction, mode, transferFlag, cccType, length, ccc,
                                                 definingByte, requests::Bytes(data, dataLength));
        if (!reads || read.status() != StatusCode::SUCCESS) {
            return read.status();
        }
        // Also in a plain session: this buffer has a size.
        return read.size() > length ? StatusCode::UNEXPECTED_RESPONSE : deliver(read, readData, readLength);
    });
}

StatusCode TarvixSDK_I3cCccENECBroadcast(TarvixSDK_Handle* handle, std::uint8_t events)
{
    return call(handle, &TarvixSDK::i3cCccENECBroadcast, events);
}

StatusCode TarvixSDK_I3cCccDISECBroadcast(TarvixSDK_Handle* handle, std::uint8_t events)
{
    return call(handle, &TarvixSDK::i3cCccDISECBroadcast, events);
}

StatusCode TarvixSDK_I3cCccENTAS0Broadcast(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cCccENTAS0Broadcast);
}

StatusCode TarvixSDK_I3cCccENTAS1Broadcast(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cCccENTAS1Broadcast);
}

StatusCode TarvixSDK_I3cCccENTAS2Broadcast(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cCccENTAS2Broadcast);
}

StatusCode TarvixSDK_I3cCccENTAS3Broadcast(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cCccENTAS3Broadcast);
}

StatusCode TarvixSDK_I3cCccRSTDAA(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cCccRSTDAA);
}

StatusCode TarvixSDK_I3cCccENTDAA(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cCccENTDAA);
}

StatusCode TarvixSDK_I3cCccSETMWLBroadcast(TarvixSDK_Handle* handle, std::uint16_t maxWriteLength)
{
    return call(handle, &TarvixSDK::i3cCccSETMWLBroadcast, maxWriteLength);
}

StatusCode TarvixSDK_I3cCccSETMRLBroadcast(TarvixSDK_Handle* handle, std::uint16_t maxReadLength,
                                           bool hasMaxIbiPayloadSize, std::uint8_t maxIbiPayloadSize)
{
    return call(handle, &TarvixSDK::i3cCccSETMRLBroadcast, maxReadLength,
                optionalByte(hasMaxIbiPayloadSize, maxIbiPayloadSize));
}

StatusCode TarvixSDK_I3cCccSETBUSCONBroadcast(TarvixSDK_Handle* handle, std::uint8_t context,
                                              const std::uint8_t* extraData, std::size_t extraLength)
{
    return call(handle, isArray(extraData, extraLength), [&](TarvixSDK& sdk) {
        return sdk.i3cCccSETBUSCONBroadcast(context, optionalBytes(extraData, extraLength));
    });
}

StatusCode TarvixSDK_I3cCccSETXTIMEBroadcast(TarvixSDK_Handle* handle, std::uint8_t subcommand,
                                             const std::uint8_t* extraData, std::size_t extraLength)
{
    return call(handle, isArray(extraData, extraLength), [&](TarvixSDK& sdk) {
        return sdk.i3cCccSETXTIMEBroadcast(subcommand, optionalBytes(extraData, extraLength));
    });
}

StatusCode TarvixSDK_I3cCccSETAASA(TarvixSDK_Handle* handle, const std::uint8_t* data, std::size_t count)
{
    return call(handle, true, [&](TarvixSDK& sdk) { return sdk.i3cCccSETAASA(copied(data, count)); });
}

StatusCode TarvixSDK_I3cCccRSTACTBroadcast(TarvixSDK_Handle* handle, I3cTargetResetDefByte action)
{
    return call(handle, &TarvixSDK::i3cCccRSTACTBroadcast, action);
}

StatusCode TarvixSDK_I3cCccRSTGRPABroadcast(TarvixSDK_Handle* handle)
{
    return call(handle, &TarvixSDK::i3cCccRSTGRPABroadcast);
}

StatusCode TarvixSDK_I3cCccENECDirect(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t events)
{
    return call(handle, &TarvixSDK::i3cCccENECDirect, address, events);
}

StatusCode TarvixSDK_I3cCccDISECDirect(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t events)
{
    return call(handle, &TarvixSDK::i3cCccDISECDirect, address, events);
}

StatusCode TarvixSDK_I3cCccENTAS0Direct(TarvixSDK_Handle* handle, std::uint8_t address)
{
    return call(handle, &TarvixSDK::i3cCccENTAS0Direct, address);
}

StatusCode TarvixSDK_I3cCccENTAS1Direct(TarvixSDK_Handle* handle, std::uint8_t address)
{
    return call(handle, &TarvixSDK::i3cCccENTAS1Direct, address);
}

StatusCode TarvixSDK_I3cCccENTAS2Direct(TarvixSDK_Handle* handle, std::uint8_t address)
{
    return call(handle, &TarvixSDK::i3cCccENTAS2Direct, address);
}

StatusCode TarvixSDK_I3cCccENTAS3Direct(TarvixSDK_Handle* handle, std::uint8_t address)
{
    return call(handle, &TarvixSDK::i3cCccENTAS3Direct, address);
}

StatusCode TarvixSDK_I3cCccSETDASA(TarvixSDK_Handle* handle, std::uint8_t staticAddress, std::uint8_t dynamicAddress)
{
    return call(handle, &TarvixSDK::i3cCccSETDASA, staticAddress, dynamicAddress);
}

StatusCode TarvixSDK_I3cCccSETNEWDA(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t newDynamicAddress)
{
    return call(handle, &TarvixSDK::i3cCccSETNEWDA, address, newDynamicAddress);
}

StatusCode TarvixSDK_I3cCccSETMWLDirect(TarvixSDK_Handle* handle, std::uint8_t address, std::uint16_t maxWriteLength)
{
    return call(handle, &TarvixSDK::i3cCccSETMWLDirect, address, maxWriteLength);
}

StatusCode TarvixSDK_I3cCccSETMRLDirect(TarvixSDK_Handle* handle, std::uint8_t address, std::uint16_t maxReadLength,
                                        bool hasMaxIbiPayloadSize, std::uint8_t maxIbiPayloadSize)
{
    return call(handle, &TarvixSDK::i3cCccSETMRLDirect, address, maxReadLength,
                optionalByte(hasMaxIbiPayloadSize, maxIbiPayloadSize));
}

StatusCode TarvixSDK_I3cCccSETXTIMEDirect(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t subcommand,
                                          const std::uint8_t* extraData, std::size_t extraLength)
{
    return call(handle, isArray(extraData, extraLength), [&](TarvixSDK& sdk) {
        return sdk.i3cCccSETXTIMEDirect(address, subcommand, optionalBytes(extraData, extraLength));
    });
}

StatusCode TarvixSDK_I3cCccSETGRPADirect(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t groupAddress)
{
    return call(handle, &TarvixSDK::i3cCccSETGRPADirect, address, groupAddress);
}

StatusCode TarvixSDK_I3cCccRSTGRPADirect(TarvixSDK_Handle* handle, std::uint8_t address)
{
    return call(handle, &TarvixSDK::i3cCccRSTGRPADirect, address);
}

StatusCode TarvixSDK_I3cCccRSTACTDirect(TarvixSDK_Handle* handle, std::uint8_t address, I3cTargetResetDefByte action,
                                        I3cTransferDirection direction, std::uint8_t* resetTime)
{
    return call(handle, resetTime != nullptr || direction != I3cTransferDirection::READ,
                [&](TarvixSDK& sdk) { return sdk.i3cCccRSTACTDirect(address, action, direction, resetTime); });
}

StatusCode TarvixSDK_I3cCccGETMWL(TarvixSDK_Handle* handle, std::uint8_t address, std::uint16_t* maxWriteLength)
{
    return call(handle, maxWriteLength != nullptr,
                [&](TarvixSDK& sdk) { return sdk.i3cCccGETMWL(address, *maxWriteLength); });
}

StatusCode TarvixSDK_I3cCccGETMRL(TarvixSDK_Handle* handle, std::uint8_t address, std::uint16_t* maxReadLength,
                                  std::uint8_t* maxIbiPayloadSize, std::uint8_t* hasMaxIbiPayloadSize)
{
    // Cleared before the call and set whatever the status: like any single number, it is the method's word.
    return call(handle, maxReadLength != nullptr, [&](TarvixSDK& sdk) {
        if (hasMaxIbiPayloadSize != nullptr) {
            *hasMaxIbiPayloadSize = 0;
        }
        std::optional<std::uint8_t> size;
        const StatusCode status = sdk.i3cCccGETMRL(address, *maxReadLength, size);
        if (size && hasMaxIbiPayloadSize != nullptr) {
            *hasMaxIbiPayloadSize = 1;
        }
        if (size && maxIbiPayloadSize != nullptr) {
            *maxIbiPayloadSize = *size;
        }
        return status;
    });
}

StatusCode TarvixSDK_I3cCccGETPID(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t* pid)
{
    return call(handle, pid != nullptr, [&](TarvixSDK& sdk) {
        Bytes read;
        return deliver(sdk.i3cCccGETPID(address, read), read, pid);
    });
}

StatusCode TarvixSDK_I3cCccGETBCR(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t* bcr)
{
    return call(handle, bcr != nullptr, [&](TarvixSDK& sdk) { return sdk.i3cCccGETBCR(address, *bcr); });
}

StatusCode TarvixSDK_I3cCccGETDCR(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t* dcr)
{
    return call(handle, dcr != nullptr, [&](TarvixSDK& sdk) { return sdk.i3cCccGETDCR(address, *dcr); });
}

StatusCode TarvixSDK_I3cCccGETSTATUS(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t* status,
                                     std::uint8_t* length, bool hasDefiningByte, std::uint8_t definingByte)
{
    return call(handle, status != nullptr && length != nullptr, [&](TarvixSDK& sdk) {
        Bytes read;
        return deliver(sdk.i3cCccGETSTATUS(address, read, optionalByte(hasDefiningByte, definingByte)), read, status,
                       length);
    });
}

StatusCode TarvixSDK_I3cCccGETMXDS(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t* maxDataSpeed,
                                   std::uint8_t* length)
{
    return call(handle, maxDataSpeed != nullptr && length != nullptr, [&](TarvixSDK& sdk) {
        Bytes read;
        return deliver(sdk.i3cCccGETMXDS(address, read), read, maxDataSpeed, length);
    });
}

StatusCode TarvixSDK_I3cCccGETCAPS(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t* caps,
                                   std::uint8_t* length, bool hasDefiningByte, std::uint8_t definingByte)
{
    return call(handle, caps != nullptr && length != nullptr, [&](TarvixSDK& sdk) {
        Bytes read;
        return deliver(sdk.i3cCccGETCAPS(address, read, optionalByte(hasDefiningByte, definingByte)), read, caps,
                       length);
    });
}

StatusCode TarvixSDK_I3cCccGETXTIME(TarvixSDK_Handle* handle, std::uint8_t address, std::uint8_t* xtime,
                                    std::uint8_t* length)
{
    return call(handle, xtime != nullptr && length != nullptr, [&](TarvixSDK& sdk) {
        Bytes read;
        return deliver(sdk.i3cCccGETXTIME(address, read), read, xtime, length);
    });
}
