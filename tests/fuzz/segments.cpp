// Reports in any order, with any header, joined and handed out.
#include "fuzz.hpp"
#include "ports/shared/report_codec.hpp"
#include "tarvixsdk/sdk.hpp"

// Options, then for each report how often it comes, its header and its bytes.
void fuzz::run(Input input)
{
    const unsigned options = input.u8();
    const bool strict = (options & 1) != 0;
    const std::size_t reportSize = (options & 2) != 0 ? 1024U : 64U;
    theAdapter = {.reportSize = reportSize};
    TarvixSDK sdk(0);
    std::optional<Bytes> notified;
    sdk.onNotification([&](const Notification& n) { notified.emplace(n.data, n.data + n.length); });
    require(static_cast<bool>(sdk.open({.strict = strict})), "a session opens");
    sim::FrameJoiner joiner; // the virtual adapter's, which was written apart
    while (!input.empty()) {
        const unsigned times = input.u8() == 0xFF ? 150 : 1;
        const std::uint8_t low = input.u8();
        const std::uint8_t high = input.u8();
        const std::size_t most = std::min<std::size_t>((low | high << 8) >> 2 & 0x3FF, reportSize - 2);
        const Bytes report = padded(Bytes{low, high} + input.bytes(most), reportSize);
        for (unsigned i = 0; i < times; ++i) {
            notified.reset();
            const std::uint64_t answers = sdk.unmatchedResponses();
            deliverReport(report);
            const sim::Frame* const frame = joiner.take(report);
            const bool hasId = frame != nullptr && frame->size() >= 2;
            const bool answer = hasId && ((*frame)[0] != 0 || (*frame)[1] != 0);
            const bool tells = hasId && !answer && frame->size() >= 4;
            require(!tells || notified == *frame, "a whole notification arrives");
            require(tells || !strict || !notified, "a strict session takes no continuation without a beginning");
            require(!strict || sdk.unmatchedResponses() - answers == (answer ? 1U : 0U), "so it is with answers");
        }
    }
}
