// What every blocking command shares: numbering, waiting, decoding.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include "async/requests.hpp"
#include "async/state.hpp"
#include "handler_slot.hpp"
#include "sync/payload.hpp"
#include "sync/response_frame.hpp"
#include "sync/response_waiter.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"
#include "transport/reader_signals.hpp"

class TarvixSDK::Session {
public:
    // A strict session serves one caller after another: who holds this lock has its turn. A plain session, which is one
    // thread's, locks nothing.
    using Turn = std::unique_lock<std::mutex>;

    class Reading;

    // How one exchange ended. Refers to the session's response buffer: use it before the next exchange.
    class Outcome {
    public:
        // No response: `status` says why.
        Outcome(Turn turn, StatusCode status) : turn_(std::move(turn)), status_(status), response_({}) {}

        // A response; one too short for a status has none of its own.
        Outcome(Turn turn, ResponseFrame response)
            : turn_(std::move(turn)),
              status_(response.holdsStatus() ? response.status() : StatusCode::RESPONSE_TOO_SHORT),
              answered_(true),
              response_(response)
        {
        }

        StatusCode status() const { return status_; }

        // Runs `decode` on the response if there is one. A decoder that returns a StatusCode replaces the response's.
        //
        // In a plain session that is all: the outputs are written before the status is looked at, so also when the
        // adapter reports an error. In a strict session they are written on success only, and only from a response
        // that holds what `layout` (see payload.hpp) says.
        template <typename Layout, typename Decode>
        StatusCode then(Layout layout, Decode decode) const
        {
            if (!answered_) {
                return status_;
            }
            if (turn_) {
                const StatusCode refused =
                    status_ == StatusCode::SUCCESS ? layout(response_).check(response_) : status_;
                if (refused != StatusCode::SUCCESS) {
                    return refused;
                }
            }
            if constexpr (std::is_void_v<std::invoke_result_t<Decode, const ResponseFrame&>>) {
                decode(response_);
                return status_;
            } else {
                return decode(response_);
            }
        }

    private:
        friend class Reading;

        Turn turn_;
        StatusCode status_;
        bool answered_ = false;
        ResponseFrame response_;
    };

    // An exchange that reads the bytes that `layout` describes. They go from the session's buffer to where the face
    // that was called wants them.
    class Reading {
    public:
        template <typename Layout>
        Reading(Outcome outcome, Layout layout) : outcome_(std::move(outcome)), bytes_(layout(outcome_.response_))
        {
        }

        // As the classes do: into a vector, by the rules of Outcome::then.
        StatusCode into(std::vector<std::uint8_t>& out) const
        {
            return outcome_.then(
                [this](const ResponseFrame&) { return bytes_; },
                [&](const ResponseFrame& response) { response.copyTo(out, bytes_.offset, bytes_.declared); });
        }

        // As the flat functions do: on SUCCESS only, `size` bytes into memory that has room for them.
        StatusCode status() const
        {
            return outcome_.then([this](const ResponseFrame&) { return bytes_; }, [](const ResponseFrame&) {});
        }
        std::size_t size() const { return bytes_.declared; }
        void copyTo(std::uint8_t* out) const { outcome_.response_.copyTo(out, bytes_.offset, bytes_.declared); }

    private:
        Outcome outcome_;
        Payload bytes_;
    };

    explicit Session(int timeout);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Sends the asynchronous command without waiting for a response.
    template <typename... Parameters, typename... Arguments>
    StatusCode post(StatusCode (TarvixAsyncSDK::*command)(TransactionId, Parameters...), Arguments&&... arguments)
    {
        const Turn turn = takeTurn();
        return (async_.*command)(generateTransactionId(), std::forward<Arguments>(arguments)...);
    }

    // Sends the asynchronous command and waits for a response.
    template <typename... Parameters, typename... Arguments>
    Outcome exchange(StatusCode (TarvixAsyncSDK::*command)(TransactionId, Parameters...), Arguments&&... arguments)
    {
        return exchangeBy([&](TransactionId transactionId) {
            return (async_.*command)(transactionId, std::forward<Arguments>(arguments)...);
        });
    }

    // The same for a request that takes its bytes from anywhere; see async/requests.hpp.
    template <typename... Parameters, typename... Arguments>
    Outcome exchange(RequestFrame (*request)(TransactionId, Parameters...), Arguments&&... arguments)
    {
        return exchangeBy([&](TransactionId transactionId) {
            return async_.state_->send(request(transactionId, std::forward<Arguments>(arguments)...));
        });
    }

    // The commands that read as many bytes as a caller wants.
    Reading i2cRead(std::uint8_t bus, std::uint8_t targetAddress, requests::Bytes registerAddress, std::uint16_t length,
                    bool flag);
    Reading spiTransfer(requests::Bytes data, std::uint16_t transferLength);
    Reading i3cSdrRead(std::uint8_t targetAddress, requests::Bytes registerAddress, std::uint16_t length,
                       I3cTransferFlags flags);
    Reading i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length);
    Reading i3cLegacyI2cRead(std::uint8_t targetAddress, requests::Bytes registerAddress, std::uint16_t length,
                             I3cTransferFlags flags);
    Reading i3cCccTransfer(std::uint8_t targetAddress, I3cTransferDirection direction, I3cTransferMode mode,
                           bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                           std::uint8_t definingByte, requests::Bytes data);

    // Sends commands without waiting for the one before, at most `inFlight` of them unanswered.
    JobResult runInFlight(std::size_t count, std::size_t inFlight, const SendCommand& send, const TakeResponse& take);

    bool connect(const std::string& path, const std::string& serialNumber);
    OpenResult open(const OpenOptions& options);
    void disconnect();

    // Whether another process opened it. Commands then end at the test of the connection and touch nothing before.
    bool isInherited() const { return async_.state_->link.isInherited(); }

    StatusCode connection() const { return async_.state_->link.connection(); }
    TarvixAsyncSDK& async() { return async_; }
    std::uint64_t unmatchedResponses() { return waiter_.unmatched(); }
    void onConnectionLost(ConnectionLostHandler handler)
    {
        lossHandler_.set(withApplicationSignals(std::move(handler)));
    }
    bool isStrict() const { return strict_; }
    TransactionId lastTransactionId() const { return transactionId_; }
    void onNotification(NotificationHandler handler)
    {
        notificationHandler_.set(withApplicationSignals(std::move(handler)));
    }

private:
    // Between a write that fails and the verdict that the adapter is lost.
    static constexpr std::chrono::milliseconds LONGEST_DOUBT{150};

    template <typename Send>
    Outcome exchangeBy(Send send)
    {
        Turn turn = takeTurn();
        const TransactionId transactionId = generateTransactionId();
        StatusCode status = turn ? waiter_.expect(transactionId) : StatusCode::SUCCESS;
        if (status == StatusCode::SUCCESS) {
            status = send(transactionId);
        }
        if (status == StatusCode::NO_RESPONSE) { // a strict session could not write the request
            status = waiter_.takeEnd(LONGEST_DOUBT);
        } else if (status == StatusCode::SUCCESS) {
            status = waiter_.take(response_);
        }
        return status == StatusCode::SUCCESS ? Outcome(std::move(turn), ResponseFrame(response_))
                                             : Outcome(std::move(turn), status);
    }

    void begin(bool strict);

    Turn takeTurn() { return strict_ && !isInherited() ? Turn(turnMutex_) : Turn(); }

    // 1 to 65535, then 1 again: 0 marks notifications. Advances also when the request is then not sent.
    TransactionId generateTransactionId()
    {
        transactionId_ = transactionId_ < 65535 ? static_cast<TransactionId>(transactionId_ + 1) : TransactionId{1};
        return transactionId_;
    }

    void handleResponse(const std::vector<std::uint8_t>& frame); // on the reader thread

    std::atomic<bool> strict_ = true; // also before the first session, lest a call slips into it without its turn
    std::mutex turnMutex_;
    TransactionId transactionId_ = 0;
    std::vector<std::uint8_t> response_;
    ResponseWaiter waiter_;
    HandlerSlot<const Notification&> notificationHandler_;
    HandlerSlot<> lossHandler_;
    TarvixAsyncSDK async_; // last, so that its reader thread ends before what it uses
};
