#include <utility>

#include "commands.hpp"
#include "sync/session.hpp"

namespace {

// Offsets in the answer to getUsbString.
constexpr std::size_t LENGTH_PLUS_ONE = 6;
constexpr std::size_t STRING = 7;

Payload usbString(const ResponseFrame& response)
{
    const std::size_t lengthPlusOne = response.u8(LENGTH_PLUS_ONE);
    return {STRING, lengthPlusOne == 0 ? 0 : lengthPlusOne - 1, 0, Payload::ANY};
}

} // namespace

// These two do not wait: the adapter restarts instead of answering.
StatusCode TarvixSDK::resetDevice()
{
    return session_->post(&TarvixAsyncSDK::resetDevice);
}

StatusCode TarvixSDK::enterBootMode()
{
    return session_->post(&TarvixAsyncSDK::enterBootMode);
}

// The one command that checks whether the response is its own. The status in that response is not read.
StatusCode TarvixSDK::getUsbString(std::vector<std::uint8_t>& string, std::uint8_t index)
{
    return session_->exchange(&TarvixAsyncSDK::getUsbString, index).then(usbString, [&](const ResponseFrame& response) {
        if (response.transactionId() != session_->lastTransactionId() ||
            response.code() != static_cast<std::uint16_t>(CommandCode::GET_USB_STRING)) {
            return StatusCode::UNEXPECTED_RESPONSE;
        }
        response.copyTo(string, STRING, usbString(response).declared);
        return StatusCode::SUCCESS;
    });
}

StatusCode TarvixSDK::getDeviceInfo(DeviceInfo& info)
{
    // Here once, so that no number is used up.
    if (const StatusCode status = session_->connection(); status != StatusCode::SUCCESS) {
        return status;
    }
    DeviceInfo whole; // of a strict session, which writes all five strings or none
    const bool strict = session_->isStrict();
    DeviceInfo& out = strict ? whole : info;
    std::vector<std::uint8_t> bytes;
    std::uint8_t index = 0;
    for (std::string* const string :
         {&out.usbString1, &out.usbString2, &out.usbString3, &out.usbString4, &out.usbString5}) {
        const StatusCode status = getUsbString(bytes, ++index);
        if (status != StatusCode::SUCCESS) {
            return status;
        }
        string->assign(bytes.begin(), bytes.end());
    }
    if (strict) {
        info = std::move(whole);
    }
    return StatusCode::SUCCESS;
}
