// Every golden answer with every bit flipped, every byte 00 and FF, and every cut at either end: a plain session
// returns what the damaged frame says, and a strict one writes no output that the frame does not hold.
#include <functional>
#include <numeric>
#include <utility>

#include "golden/golden.hpp"
#include "support/adapter.hpp"
#include "support/received.hpp"

namespace golden {

namespace {

constexpr std::size_t KINDS_OF_DAMAGE = 12;
constexpr std::size_t CUT_BEHIND = 10;

// Damage `n` of 12 for each byte.
Bytes damaged(Bytes frame, std::size_t n)
{
    const std::size_t at = n % frame.size();
    const std::size_t kind = n / frame.size();
    if (kind >= CUT_BEHIND) {
        return kind == CUT_BEHIND ? part(frame, 0, at) : part(frame, at + 1, frame.size());
    }
    frame[at] = kind == 8 ? 0x00 : kind == 9 ? 0xFF : static_cast<std::uint8_t>(frame[at] ^ 1U << kind);
    return frame;
}

Bytes goldenAnswer(const Row& row, const Bytes& request)
{
    return answerTo(request, hex("00 00 " + row.answer));
}

// Calls `walk(row, n, cut)` for every damage of every answer; `cut` tells of a cut at either end.
template <typename Walk>
void forEveryDamage(Walk walk)
{
    for (const Row& row : rowsWith(&Row::block)) {
        const std::size_t size = goldenAnswer(row, Bytes(4)).size();
        const bool waits = row.request != "01 04" && row.request != "02 04";
        for (std::size_t n = 0; waits && n < KINDS_OF_DAMAGE * size; ++n) {
            SCOPED_TRACE(row.name + ", damage " + std::to_string(n));
            ASSERT_NO_FATAL_FAILURE(walk(row, n, n >= CUT_BEHIND * size));
        }
    }
}

// How many bytes of `text` are not the golden ones; a length that is not counts as one, for a count is one byte.
int wrongBytes(const std::string& text, const std::string& golden)
{
    const Bytes bytes = hex(text);
    const Bytes right = hex(golden);
    return bytes.size() != right.size()
               ? 1
               : std::inner_product(bytes.begin(), bytes.end(), right.begin(), 0, std::plus<>(), std::not_equal_to<>());
}

class MutationWalk : public Adapter {
protected:
    // Calls the row's command. Its first request is answered with damage `n` of the golden answer; if `filled`, with
    // zeros for what that cuts off. Behind a frame that the session must ignore comes ADAPTER_ERROR.
    void call(TarvixSDK& sdk, const Row& row, std::size_t n, bool filled = false)
    {
        device->forget();
        device->onFrame([&, isFirst = true](const Bytes& request) mutable {
            const Bytes whole = goldenAnswer(row, request);
            if (!std::exchange(isFirst, false)) {
                return device->deliverFrame(whole);
            }
            frame = damaged(whole, n);
            frame.resize(filled ? whole.size() : frame.size());
            matches = frame.size() >= 4 && part(frame, 0, 4) == part(request, 0, 4);
            ignored = frame.size() < 2 || part(frame, 0, 2) == Bytes(2) ||
                      (isStrict && part(frame, 0, 2) != part(request, 0, 2));
            device->deliverFrame(frame);
            if (ignored) {
                device->deliverFrame(answerTo(request, hex("23 01")));
            }
        });
        Outputs outputs;
        outputs.buffer.clear(); // the flat functions'
        status = row.block(sdk, outputs);
        written = outputs.values() + " " + outputs.data();
    }

    StatusCode statusInFrame() const
    {
        return frame.size() < 6 ? StatusCode::RESPONSE_TOO_SHORT : StatusCode(frame[4] | frame[5] << 8);
    }

    bool isStrict = false;
    Bytes frame;               // the damaged one
    bool ignored{}, matches{}; // by the session; the request's number and code
    StatusCode status{};
    std::string written;
};

TEST_F(MutationWalk, APlainSessionReturnsTheStatusInTheFrameAndReadsZerosBehindItsEnd)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.connect(""));
    forEveryDamage([&](const Row& row, std::size_t n, bool cut) {
        call(sdk, row, n);
        const StatusCode usbString = matches ? StatusCode::SUCCESS : StatusCode::UNEXPECTED_RESPONSE;
        const StatusCode usual = row.statusOnError == StatusCode::SUCCESS ? usbString : statusInFrame();
        const bool lacksAddresses = row.name == "i2cScanBus" && status == StatusCode::RESPONSE_TOO_SHORT;
        ASSERT_TRUE(status == (ignored ? row.statusOnError : usual) || lacksAddresses) << hexOf(frame);
        ASSERT_TRUE(status != StatusCode::UNEXPECTED_RESPONSE || written == " ") << "of another's USB string";
        if (cut && matches && !lacksAddresses) {
            const std::string before = written;
            call(sdk, row, n, true);
            ASSERT_EQ(before, written) << hexOf(frame);
        }
    });
}

TEST_F(MutationWalk, AStrictSessionWritesNothingOrWhatTheFrameHolds)
{
    isStrict = true;
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.open());
    forEveryDamage([&](const Row& row, std::size_t n, bool cut) {
        call(sdk, row, n);
        const StatusCode expected = ignored ? ADAPTER_ERROR : statusInFrame();
        const bool doubted = status == StatusCode::RESPONSE_TOO_SHORT || status == StatusCode::UNEXPECTED_RESPONSE;
        ASSERT_TRUE(status == expected || (doubted && expected == StatusCode::SUCCESS)) << hexOf(frame);
        if (status != StatusCode::SUCCESS) {
            ASSERT_EQ(written, " ") << hexOf(frame);
            return;
        }
        ASSERT_LE(hex(written).size(), frame.size() - 6) << hexOf(frame);
        ASSERT_LE(wrongBytes(written, row.values + " " + row.data), cut ? 0 : 1) << written << " from " << hexOf(frame);
    });
}

TEST_F(MutationWalk, AnAsynchronousSessionDeliversEachFrameAsItIs)
{
    TarvixAsyncSDK sdk;
    Received<Bytes> received;
    sdk.onResponse([&](const Bytes& bytes) { received.add(bytes); });
    ASSERT_TRUE(sdk.connect(""));
    std::vector<Bytes> delivered;
    forEveryDamage([&](const Row& row, std::size_t n, bool) {
        device->deliverFrame(delivered.emplace_back(damaged(goldenAnswer(row, hex("02 01 " + row.request)), n)));
    });
    EXPECT_EQ(received.atLeast(delivered.size()), delivered);
}

} // namespace

} // namespace golden
