#include <algorithm>

#include "sync/session.hpp"

namespace {

// As many reports as Linux keeps for a reader that is busy: of more answers, one could get lost.
constexpr std::size_t MOST_IN_FLIGHT = 63;

// Gives a waiter these places, and takes them back however the job ends: late answers are then dropped.
class Places {
public:
    Places(ResponseWaiter& waiter, std::size_t count) : waiter_(waiter), places_(count) { waiter_.use(places_); }
    ~Places() { waiter_.use({}); }
    Places(const Places&) = delete;
    Places& operator=(const Places&) = delete;

private:
    ResponseWaiter& waiter_;
    std::vector<ResponseWaiter::Place> places_;
};

} // namespace

// Responses are taken in the order of the commands, whatever the order they arrive in, so that the first failure found
// is that of the first command that failed.
TarvixSDK::JobResult TarvixSDK::Session::runInFlight(std::size_t count, std::size_t inFlight, const SendCommand& send,
                                                     const TakeResponse& take)
{
    const Turn turn = takeTurn();
    if (const StatusCode status = connection(); status != StatusCode::SUCCESS) {
        return {status, 0};
    }
    if (!turn || inFlight == 0 || inFlight > MOST_IN_FLIGHT || !send) {
        return {StatusCode::INVALID_ARGUMENT, 0};
    }
    const Places places(waiter_, std::min(count, inFlight));
    JobResult result{StatusCode::SUCCESS, count};
    const auto succeeds = [&result](StatusCode status, std::size_t command) {
        if (status != StatusCode::SUCCESS && command < result.command) {
            result = {status, command};
        }
        return status == StatusCode::SUCCESS;
    };
    std::size_t sent = 0;
    for (std::size_t taken = 0;; ++taken) {
        while (sent < result.command && sent - taken < inFlight) {
            const TransactionId transactionId = generateTransactionId();
            const StatusCode ended = waiter_.expect(transactionId, sent % inFlight);
            if (!succeeds(ended != StatusCode::SUCCESS ? ended : send(async_, transactionId, sent), sent)) {
                break;
            }
            ++sent;
        }
        if (taken == sent) {
            break;
        }
        if (!succeeds(waiter_.take(response_, taken % inFlight), taken)) {
            return result;
        }
        const ResponseFrame response(response_);
        succeeds(!response.holdsStatus() ? StatusCode::RESPONSE_TOO_SHORT
                 : take                  ? take(taken, response.status(), response_)
                                         : response.status(),
                 taken);
    }
    if (result.status == StatusCode::NO_RESPONSE && result.command == sent) { // the request could not be written
        result.status = waiter_.takeEnd(LONGEST_DOUBT);
    }
    return result;
}

TarvixSDK::JobResult TarvixSDK::runInFlight(std::size_t count, std::size_t inFlight, SendCommand send,
                                            TakeResponse take)
{
    return session_->runInFlight(count, inFlight, send, take);
}
