#include "sync/session.hpp"

namespace {

constexpr std::uint8_t LAST_BUS = 1;

// Offsets in the responses.
constexpr std::size_t SCAN_ONE_BYTE_COUNT = 7;
constexpr std::size_t SCAN_TWO_BYTE_COUNT = 8;
constexpr std::size_t SCAN_ENTRIES = 9;

Payload scan(const ResponseFrame& response)
{
    const std::size_t size = response.u8(SCAN_ONE_BYTE_COUNT) + std::size_t{2} * response.u8(SCAN_TWO_BYTE_COUNT);
    return {SCAN_ENTRIES, size, 0, size};
}

} // namespace

StatusCode TarvixSDK::i2cControllerInit(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option)
{
    return session_->exchange(&TarvixAsyncSDK::i2cControllerInit, bus, frequency, option).status();
}

StatusCode TarvixSDK::i2cSetParameters(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option)
{
    return session_->exchange(&TarvixAsyncSDK::i2cSetParameters, bus, frequency, option).status();
}

StatusCode TarvixSDK::i2cSetPullUpResistors(std::uint8_t bus, std::uint8_t pullUp)
{
    return session_->exchange(&TarvixAsyncSDK::i2cSetPullUpResistors, bus, pullUp).status();
}

StatusCode TarvixSDK::i2cWrite(std::uint8_t bus, std::uint8_t targetAddress,
                               const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                               bool flag)
{
    return session_->exchange(requests::i2cWrite, bus, targetAddress, registerAddress, data, flag).status();
}

TarvixSDK::Session::Reading TarvixSDK::Session::i2cRead(std::uint8_t bus, std::uint8_t targetAddress,
                                                        requests::Bytes registerAddress, std::uint16_t length,
                                                        bool flag)
{
    return {exchange(requests::i2cRead, bus, targetAddress, registerAddress, length, flag), i2cReadBytes(length)};
}

StatusCode TarvixSDK::i2cRead(std::uint8_t bus, std::uint8_t targetAddress,
                              const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                              std::vector<std::uint8_t>& readData, bool flag)
{
    return session_->i2cRead(bus, targetAddress, registerAddress, length, flag).into(readData);
}

StatusCode TarvixSDK::i2cScanBus(std::vector<std::uint8_t>& addresses, std::uint8_t* oneByteCount,
                                 std::uint8_t* twoByteCount, std::uint8_t bus, bool flag)
{
    // The one check that comes before the connection's.
    if (bus > LAST_BUS || oneByteCount == nullptr || twoByteCount == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return session_->exchange(&TarvixAsyncSDK::i2cScanBus, bus, flag).then(scan, [&](const ResponseFrame& response) {
        *oneByteCount = response.u8(SCAN_ONE_BYTE_COUNT);
        *twoByteCount = response.u8(SCAN_TWO_BYTE_COUNT);
        const std::size_t size = scan(response).declared;
        if (SCAN_ENTRIES + size > response.size()) {
            return StatusCode::RESPONSE_TOO_SHORT;
        }
        response.copyTo(addresses, SCAN_ENTRIES, size);
        return response.status();
    });
}
