#include "sync/session.hpp"

namespace {

// Offsets in the response to a CCC.
constexpr std::size_t COUNT = 9;
constexpr std::size_t DATA = 10;

// The adapter decides how many bytes came, whatever was asked for.
auto dataInto(std::vector<std::uint8_t>& out)
{
    return [&out](const ResponseFrame& response) { response.copyTo(out, DATA, response.u8(COUNT)); };
}

// What a read may return. What has no number of its own in the outputs must be whole.
auto dataOf(std::size_t least, std::size_t most)
{
    return counted8(COUNT, DATA, least, most);
}

auto dataOfRead(I3cTransferDirection direction, std::size_t least, std::size_t most)
{
    return [=](const ResponseFrame& response) {
        return direction == I3cTransferDirection::READ ? dataOf(least, most)(response) : anything(response);
    };
}

} // namespace

TarvixSDK::Session::Reading TarvixSDK::Session::i3cCccTransfer(std::uint8_t targetAddress,
                                                               I3cTransferDirection direction, I3cTransferMode mode,
                                                               bool transferFlag, I3cCccType cccType,
                                                               std::uint8_t length, CCC ccc, std::uint8_t definingByte,
                                                               requests::Bytes data)
{
    return {exchange(requests::i3cCccTransfer, targetAddress, direction, mode, transferFlag, cccType, length, ccc,
                     definingByte, data),
            dataOfRead(direction, 0, length)};
}

StatusCode TarvixSDK::i3cCccTransfer(std::uint8_t targetAddress, I3cTransferDirection direction, I3cTransferMode mode,
                                     bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                                     std::uint8_t definingByte, const std::vector<std::uint8_t>& data,
                                     std::vector<std::uint8_t>& readData)
{
    return session_
        ->i3cCccTransfer(targetAddress, direction, mode, transferFlag, cccType, length, ccc, definingByte, data)
        .into(readData);
}

StatusCode TarvixSDK::i3cCccENECBroadcast(std::uint8_t events)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENECBroadcast, events).status();
}

StatusCode TarvixSDK::i3cCccDISECBroadcast(std::uint8_t events)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccDISECBroadcast, events).status();
}

StatusCode TarvixSDK::i3cCccENECDirect(std::uint8_t address, std::uint8_t events)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENECDirect, address, events).status();
}

StatusCode TarvixSDK::i3cCccDISECDirect(std::uint8_t address, std::uint8_t events)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccDISECDirect, address, events).status();
}

StatusCode TarvixSDK::i3cCccENTAS0Broadcast()
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS0Broadcast).status();
}

StatusCode TarvixSDK::i3cCccENTAS1Broadcast()
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS1Broadcast).status();
}

StatusCode TarvixSDK::i3cCccENTAS2Broadcast()
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS2Broadcast).status();
}

StatusCode TarvixSDK::i3cCccENTAS3Broadcast()
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS3Broadcast).status();
}

StatusCode TarvixSDK::i3cCccENTAS0Direct(std::uint8_t address)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS0Direct, address).status();
}

StatusCode TarvixSDK::i3cCccENTAS1Direct(std::uint8_t address)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS1Direct, address).status();
}

StatusCode TarvixSDK::i3cCccENTAS2Direct(std::uint8_t address)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS2Direct, address).status();
}

StatusCode TarvixSDK::i3cCccENTAS3Direct(std::uint8_t address)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTAS3Direct, address).status();
}

StatusCode TarvixSDK::i3cCccRSTDAA()
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccRSTDAA).status();
}

StatusCode TarvixSDK::i3cCccENTDAA()
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccENTDAA).status();
}

StatusCode TarvixSDK::i3cCccSETAASA(const std::vector<std::uint8_t>& data)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETAASA, data).status();
}

StatusCode TarvixSDK::i3cCccSETDASA(std::uint8_t staticAddress, std::uint8_t dynamicAddress)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETDASA, staticAddress, dynamicAddress).status();
}

StatusCode TarvixSDK::i3cCccSETNEWDA(std::uint8_t address, std::uint8_t newDynamicAddress)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETNEWDA, address, newDynamicAddress).status();
}

StatusCode TarvixSDK::i3cCccSETGRPADirect(std::uint8_t address, std::uint8_t groupAddress)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETGRPADirect, address, groupAddress).status();
}

StatusCode TarvixSDK::i3cCccRSTGRPABroadcast()
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccRSTGRPABroadcast).status();
}

StatusCode TarvixSDK::i3cCccRSTGRPADirect(std::uint8_t address)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccRSTGRPADirect, address).status();
}

StatusCode TarvixSDK::i3cCccSETMWLBroadcast(std::uint16_t maxWriteLength)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETMWLBroadcast, maxWriteLength).status();
}

StatusCode TarvixSDK::i3cCccSETMWLDirect(std::uint8_t address, std::uint16_t maxWriteLength)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETMWLDirect, address, maxWriteLength).status();
}

StatusCode TarvixSDK::i3cCccSETMRLBroadcast(std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETMRLBroadcast, maxReadLength, maxIbiPayloadSize).status();
}

StatusCode TarvixSDK::i3cCccSETMRLDirect(std::uint8_t address, std::uint16_t maxReadLength,
                                         std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETMRLDirect, address, maxReadLength, maxIbiPayloadSize).status();
}

StatusCode TarvixSDK::i3cCccSETBUSCONBroadcast(std::uint8_t context,
                                               const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETBUSCONBroadcast, context, extraData).status();
}

StatusCode TarvixSDK::i3cCccSETXTIMEBroadcast(std::uint8_t subcommand,
                                              const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETXTIMEBroadcast, subcommand, extraData).status();
}

StatusCode TarvixSDK::i3cCccSETXTIMEDirect(std::uint8_t address, std::uint8_t subcommand,
                                           const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccSETXTIMEDirect, address, subcommand, extraData).status();
}

StatusCode TarvixSDK::i3cCccRSTACTBroadcast(I3cTargetResetDefByte action)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccRSTACTBroadcast, action).status();
}

StatusCode TarvixSDK::i3cCccRSTACTDirect(std::uint8_t address, I3cTargetResetDefByte action,
                                         I3cTransferDirection direction, std::uint8_t* resetTime)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccRSTACTDirect, address, action, direction)
        .then(dataOfRead(direction, 1, 1), [&](const ResponseFrame& response) {
            if (direction == I3cTransferDirection::READ && resetTime != nullptr) {
                *resetTime = response.u8(DATA);
            }
        });
}

StatusCode TarvixSDK::i3cCccGETMWL(std::uint8_t address, std::uint16_t& maxWriteLength)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETMWL, address)
        .then(dataOf(2, 2), [&](const ResponseFrame& response) { maxWriteLength = response.u16BigEndian(DATA); });
}

StatusCode TarvixSDK::i3cCccGETMRL(std::uint8_t address, std::uint16_t& maxReadLength,
                                   std::optional<std::uint8_t>& maxIbiPayloadSize)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETMRL, address)
        .then(dataOf(2, 3), [&](const ResponseFrame& response) {
            maxReadLength = response.u16BigEndian(DATA);
            maxIbiPayloadSize.reset();
            if (response.u8(COUNT) == 3) {
                maxIbiPayloadSize = response.u8(DATA + 2);
            }
        });
}

StatusCode TarvixSDK::i3cCccGETPID(std::uint8_t address, std::vector<std::uint8_t>& pid)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETPID, address).then(dataOf(6, 6), dataInto(pid));
}

StatusCode TarvixSDK::i3cCccGETBCR(std::uint8_t address, std::uint8_t& bcr)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETBCR, address)
        .then(dataOf(1, 1), [&](const ResponseFrame& response) { bcr = response.u8(DATA); });
}

StatusCode TarvixSDK::i3cCccGETDCR(std::uint8_t address, std::uint8_t& dcr)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETDCR, address)
        .then(dataOf(1, 1), [&](const ResponseFrame& response) { dcr = response.u8(DATA); });
}

StatusCode TarvixSDK::i3cCccGETSTATUS(std::uint8_t address, std::vector<std::uint8_t>& status,
                                      std::optional<std::uint8_t> definingByte)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETSTATUS, address, definingByte)
        .then(dataOf(0, 2), dataInto(status));
}

StatusCode TarvixSDK::i3cCccGETMXDS(std::uint8_t address, std::vector<std::uint8_t>& maxDataSpeed)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETMXDS, address).then(dataOf(0, 5), dataInto(maxDataSpeed));
}

StatusCode TarvixSDK::i3cCccGETCAPS(std::uint8_t address, std::vector<std::uint8_t>& caps,
                                    std::optional<std::uint8_t> definingByte)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETCAPS, address, definingByte).then(dataOf(0, 4), dataInto(caps));
}

StatusCode TarvixSDK::i3cCccGETXTIME(std::uint8_t address, std::vector<std::uint8_t>& xtime)
{
    return session_->exchange(&TarvixAsyncSDK::i3cCccGETXTIME, address).then(dataOf(0, 4), dataInto(xtime));
}
