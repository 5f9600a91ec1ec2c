// What every blocking command shares: numbering, waiting, decoding.
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "handler_slot.hpp"
#include "sync/response_frame.hpp"
#include "sync/response_waiter.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

class TarvixSDK::Session {
public:
    // How one exchange ended. Refers to the session's response buffer: use it before the next exchange.
    class Outcome {
    public:
        // No response: `status` says why.
        explicit Outcome(StatusCode status) : status_(status), response_({}) {}

        // A response; one too short for a status has none of its own.
        explicit Outcome(ResponseFrame response)
            : status_(response.holdsStatus() ? response.status() : StatusCode::RESPONSE_TOO_SHORT),
              answered_(true),
              response_(response)
        {
        }

        StatusCode status() const { return status_; }

        // Runs `decode` on the response if there is one, even one that carries an error: outputs are written whatever
        // the status. A decoder that returns a StatusCode replaces the response's.
        template <typename Decode>
        StatusCode then(Decode decode) const
        {
            if (!answered_) {
                return status_;
            }
            if constexpr (std::is_void_v<std::invoke_result_t<Decode, const ResponseFrame&>>) {
                decode(response_);
                return status_;
            } else {
                return decode(response_);
            }
        }

    private:
        StatusCode status_;
        bool answered_ = false;
        ResponseFrame response_;
    };

    explicit Session(int timeout);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Sends the asynchronous command without waiting for a response.
    template <typename... Parameters, typename... Arguments>
    StatusCode post(StatusCode (TarvixAsyncSDK::*command)(TransactionId, Parameters...), Arguments&&... arguments)
    {
        return (async_.*command)(generateTransactionId(), std::forward<Arguments>(arguments)...);
    }

    // Sends the asynchronous command and waits for a response.
    template <typename... Parameters, typename... Arguments>
    Outcome exchange(StatusCode (TarvixAsyncSDK::*command)(TransactionId, Parameters...), Arguments&&... arguments)
    {
        const StatusCode sent = post(command, std::forward<Arguments>(arguments)...);
        if (sent != StatusCode::SUCCESS) {
            return Outcome(sent);
        }
        if (!waiter_.take(response_)) {
            return Outcome(StatusCode::NO_RESPONSE);
        }
        return Outcome(ResponseFrame(response_));
    }

    TarvixAsyncSDK& async() { return async_; }
    TransactionId lastTransactionId() const { return transactionId_; }
    void onNotification(NotificationHandler handler) { notificationHandler_.set(std::move(handler)); }

private:
    // 1 to 65535, then 1 again: 0 marks notifications. Advances also when the request is then not sent.
    TransactionId generateTransactionId()
    {
        transactionId_ = transactionId_ < 65535 ? static_cast<TransactionId>(transactionId_ + 1) : TransactionId{1};
        return transactionId_;
    }

    void handleResponse(const std::vector<std::uint8_t>& frame); // on the reader thread

    TransactionId transactionId_ = 0;
    std::vector<std::uint8_t> response_;
    ResponseWaiter waiter_;
    HandlerSlot<const Notification&> notificationHandler_;
    TarvixAsyncSDK async_; // last, so that its reader thread ends before what it uses
};
