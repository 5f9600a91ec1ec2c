// The I3C Common Command Codes: every one is a fixed call of i3cCccTransfer.
#include "async/requests.hpp"
#include "async/state.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t BROADCAST_ADDRESS = 0x7E;

// The I3C standard sends multi-byte values big-endian, unlike the fields of the frame.
Bytes bigEndian(std::uint16_t value, std::optional<std::uint8_t> next = std::nullopt)
{
    Bytes bytes{static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
    if (next) {
        bytes.push_back(*next);
    }
    return bytes;
}

Bytes join(std::uint8_t first, const std::optional<Bytes>& rest)
{
    Bytes bytes;
    bytes.reserve(1 + (rest ? rest->size() : 0));
    bytes.push_back(first);
    if (rest) {
        bytes.insert(bytes.end(), rest->begin(), rest->end());
    }
    return bytes;
}

// An address in the data of a CCC takes the upper seven bits of its byte.
Bytes shifted(std::uint8_t address)
{
    return {static_cast<std::uint8_t>(address << 1)};
}

// A write whose length is that of its data.
StatusCode write(TarvixAsyncSDK& sdk, TransactionId transactionId, std::uint8_t address, CCC ccc,
                 const Bytes& data = {})
{
    return sdk.i3cCccTransfer(transactionId, address, I3cTransferDirection::WRITE, I3cTransferMode::SDR, false,
                              I3cCccType::WITHOUT_DEFINING_BYTE, static_cast<std::uint8_t>(data.size()), ccc, 0, data);
}

// A write of a defining byte and no data. Its length is 1 all the same.
StatusCode broadcastDefiningByte(TarvixAsyncSDK& sdk, TransactionId transactionId, CCC ccc, std::uint8_t definingByte)
{
    return sdk.i3cCccTransfer(transactionId, BROADCAST_ADDRESS, I3cTransferDirection::WRITE, I3cTransferMode::SDR,
                              false, I3cCccType::WITH_DEFINING_BYTE, 1, ccc, definingByte, {});
}

StatusCode read(TarvixAsyncSDK& sdk, TransactionId transactionId, std::uint8_t address, CCC ccc, std::uint8_t length,
                std::optional<std::uint8_t> definingByte = std::nullopt)
{
    return sdk.i3cCccTransfer(transactionId, address, I3cTransferDirection::READ, I3cTransferMode::SDR, false,
                              definingByte ? I3cCccType::WITH_DEFINING_BYTE : I3cCccType::WITHOUT_DEFINING_BYTE, length,
                              ccc, definingByte.value_or(0), {});
}

} // namespace

RequestFrame requests::i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress,
                                      I3cTransferDirection direction, I3cTransferMode mode, bool transferFlag,
                                      I3cCccType cccType, std::uint8_t length, CCC ccc, std::uint8_t definingByte,
                                      Bytes data)
{
    // Not masked: a value too large for its bits spills into its neighbour's.
    const unsigned flags =
        ((static_cast<unsigned>(cccType) << 1 | (transferFlag ? 1U : 0U)) << 2 | static_cast<unsigned>(mode)) << 1 |
        static_cast<unsigned>(direction);
    return RequestFrame(transactionId, CommandCode::I3C_CCC_TRANSFER, data.size())
        .require(data.empty() || direction != I3cTransferDirection::READ)
        .u8(targetAddress)
        .u8(static_cast<std::uint8_t>(flags))
        .u8(length)
        .u8(ccc)
        .u8(definingByte)
        .bytes(data);
}

StatusCode TarvixAsyncSDK::i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress,
                                          I3cTransferDirection direction, I3cTransferMode mode, bool transferFlag,
                                          I3cCccType cccType, std::uint8_t length, CCC ccc, std::uint8_t definingByte,
                                          const std::vector<std::uint8_t>& data)
{
    return state_->send(requests::i3cCccTransfer(transactionId, targetAddress, direction, mode, transferFlag, cccType,
                                                 length, ccc, definingByte, data));
}

// The adapter takes the events of ENEC and DISEC as the defining byte of a broadcast, but as data of a direct write.
StatusCode TarvixAsyncSDK::i3cCccENECBroadcast(TransactionId transactionId, std::uint8_t events)
{
    return broadcastDefiningByte(*this, transactionId, CCC::ENEC_BROADCAST, events);
}

StatusCode TarvixAsyncSDK::i3cCccDISECBroadcast(TransactionId transactionId, std::uint8_t events)
{
    return broadcastDefiningByte(*this, transactionId, CCC::DISEC_BROADCAST, events);
}

StatusCode TarvixAsyncSDK::i3cCccENECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events)
{
    return write(*this, transactionId, address, CCC::ENEC_DIRECT, {events});
}

StatusCode TarvixAsyncSDK::i3cCccDISECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events)
{
    return write(*this, transactionId, address, CCC::DISEC_DIRECT, {events});
}

StatusCode TarvixAsyncSDK::i3cCccENTAS0Broadcast(TransactionId transactionId)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::ENTAS0_BROADCAST);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS1Broadcast(TransactionId transactionId)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::ENTAS1_BROADCAST);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS2Broadcast(TransactionId transactionId)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::ENTAS2_BROADCAST);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS3Broadcast(TransactionId transactionId)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::ENTAS3_BROADCAST);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS0Direct(TransactionId transactionId, std::uint8_t address)
{
    return write(*this, transactionId, address, CCC::ENTAS0_DIRECT);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS1Direct(TransactionId transactionId, std::uint8_t address)
{
    return write(*this, transactionId, address, CCC::ENTAS1_DIRECT);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS2Direct(TransactionId transactionId, std::uint8_t address)
{
    return write(*this, transactionId, address, CCC::ENTAS2_DIRECT);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS3Direct(TransactionId transactionId, std::uint8_t address)
{
    return write(*this, transactionId, address, CCC::ENTAS3_DIRECT);
}

StatusCode TarvixAsyncSDK::i3cCccRSTDAA(TransactionId transactionId)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::RSTDAA);
}

StatusCode TarvixAsyncSDK::i3cCccENTDAA(TransactionId transactionId)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::ENTDAA);
}

StatusCode TarvixAsyncSDK::i3cCccSETAASA(TransactionId transactionId, const std::vector<std::uint8_t>& data)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::SETAASA, data);
}

StatusCode TarvixAsyncSDK::i3cCccSETDASA(TransactionId transactionId, std::uint8_t staticAddress,
                                         std::uint8_t dynamicAddress)
{
    return write(*this, transactionId, staticAddress, CCC::SETDASA, shifted(dynamicAddress));
}

StatusCode TarvixAsyncSDK::i3cCccSETNEWDA(TransactionId transactionId, std::uint8_t address,
                                          std::uint8_t newDynamicAddress)
{
    return write(*this, transactionId, address, CCC::SETNEWDA, shifted(newDynamicAddress));
}

StatusCode TarvixAsyncSDK::i3cCccSETGRPADirect(TransactionId transactionId, std::uint8_t address,
                                               std::uint8_t groupAddress)
{
    return write(*this, transactionId, address, CCC::SETGRPA, shifted(groupAddress));
}

StatusCode TarvixAsyncSDK::i3cCccRSTGRPABroadcast(TransactionId transactionId)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::RSTGRPA_BROADCAST);
}

StatusCode TarvixAsyncSDK::i3cCccRSTGRPADirect(TransactionId transactionId, std::uint8_t address)
{
    return write(*this, transactionId, address, CCC::RSTGRPA_DIRECT);
}

StatusCode TarvixAsyncSDK::i3cCccSETMWLBroadcast(TransactionId transactionId, std::uint16_t maxWriteLength)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::SETMWL_BROADCAST, bigEndian(maxWriteLength));
}

StatusCode TarvixAsyncSDK::i3cCccSETMWLDirect(TransactionId transactionId, std::uint8_t address,
                                              std::uint16_t maxWriteLength)
{
    return write(*this, transactionId, address, CCC::SETMWL_DIRECT, bigEndian(maxWriteLength));
}

StatusCode TarvixAsyncSDK::i3cCccSETMRLBroadcast(TransactionId transactionId, std::uint16_t maxReadLength,
                                                 std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::SETMRL_BROADCAST,
                 bigEndian(maxReadLength, maxIbiPayloadSize));
}

StatusCode TarvixAsyncSDK::i3cCccSETMRLDirect(TransactionId transactionId, std::uint8_t address,
                                              std::uint16_t maxReadLength,
                                              std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return write(*this, transactionId, address, CCC::SETMRL_DIRECT, bigEndian(maxReadLength, maxIbiPayloadSize));
}

StatusCode TarvixAsyncSDK::i3cCccSETBUSCONBroadcast(TransactionId transactionId, std::uint8_t context,
                                                    const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::SETBUSCON, join(context, extraData));
}

StatusCode TarvixAsyncSDK::i3cCccSETXTIMEBroadcast(TransactionId transactionId, std::uint8_t subcommand,
                                                   const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return write(*this, transactionId, BROADCAST_ADDRESS, CCC::SETXTIME_BROADCAST, join(subcommand, extraData));
}

StatusCode TarvixAsyncSDK::i3cCccSETXTIMEDirect(TransactionId transactionId, std::uint8_t address,
                                                std::uint8_t subcommand,
                                                const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return write(*this, transactionId, address, CCC::SETXTIME_DIRECT, join(subcommand, extraData));
}

StatusCode TarvixAsyncSDK::i3cCccRSTACTBroadcast(TransactionId transactionId, I3cTargetResetDefByte action)
{
    return broadcastDefiningByte(*this, transactionId, CCC::RSTACT_BROADCAST, static_cast<std::uint8_t>(action));
}

// The one CCC whose direction is the caller's. The length of a write is 0 here, but 1 in the broadcast form.
StatusCode TarvixAsyncSDK::i3cCccRSTACTDirect(TransactionId transactionId, std::uint8_t address,
                                              I3cTargetResetDefByte action, I3cTransferDirection direction)
{
    return i3cCccTransfer(transactionId, address, direction, I3cTransferMode::SDR, false,
                          I3cCccType::WITH_DEFINING_BYTE, direction == I3cTransferDirection::WRITE ? 0 : 1,
                          CCC::RSTACT_DIRECT, static_cast<std::uint8_t>(action), {});
}

StatusCode TarvixAsyncSDK::i3cCccGETMWL(TransactionId transactionId, std::uint8_t address)
{
    return read(*this, transactionId, address, CCC::GETMWL, 2);
}

StatusCode TarvixAsyncSDK::i3cCccGETMRL(TransactionId transactionId, std::uint8_t address)
{
    return read(*this, transactionId, address, CCC::GETMRL, 3);
}

StatusCode TarvixAsyncSDK::i3cCccGETPID(TransactionId transactionId, std::uint8_t address)
{
    return read(*this, transactionId, address, CCC::GETPID, 6);
}

StatusCode TarvixAsyncSDK::i3cCccGETBCR(TransactionId transactionId, std::uint8_t address)
{
    return read(*this, transactionId, address, CCC::GETBCR, 1);
}

StatusCode TarvixAsyncSDK::i3cCccGETDCR(TransactionId transactionId, std::uint8_t address)
{
    return read(*this, transactionId, address, CCC::GETDCR, 1);
}

StatusCode TarvixAsyncSDK::i3cCccGETMXDS(TransactionId transactionId, std::uint8_t address)
{
    return read(*this, transactionId, address, CCC::GETMXDS, 5);
}

StatusCode TarvixAsyncSDK::i3cCccGETXTIME(TransactionId transactionId, std::uint8_t address)
{
    return read(*this, transactionId, address, CCC::GETXTIME, 4);
}

StatusCode TarvixAsyncSDK::i3cCccGETSTATUS(TransactionId transactionId, std::uint8_t address,
                                           std::optional<std::uint8_t> definingByte)
{
    return read(*this, transactionId, address, CCC::GETSTATUS, 2, definingByte);
}

StatusCode TarvixAsyncSDK::i3cCccGETCAPS(TransactionId transactionId, std::uint8_t address,
                                         std::optional<std::uint8_t> definingByte)
{
    return read(*this, transactionId, address, CCC::GETCAPS, 4, definingByte);
}
