// Cutting frames into reports and joining reports into frames: bytes in, bytes out. Sizes are computed from the
// report's, so that both kinds of adapter are tried at their own edges.
#include <gtest/gtest.h>

#include "support/bytes.hpp"
#include "transport/report_segmenter.hpp"

namespace {

constexpr std::size_t CEILING = ReportAssembler::CEILING;

Bytes head(unsigned header)
{
    return {static_cast<std::uint8_t>(header), static_cast<std::uint8_t>(header >> 8)};
}

// The reports of frames on their way.
class Wire {
public:
    explicit Wire(std::size_t reportSize) : reportSize_(reportSize) {}

    std::size_t capacity() const { return reportSize_ - 2; }

    Wire& cut(const Bytes& frame)
    {
        const ReportSegmenter segmenter(reportSize_);
        for (std::size_t i = 0; i < segmenter.segmentCount(frame.size()); ++i) {
            reports.emplace_back(reportSize_, std::uint8_t{0xCC});
            segmenter.cut(frame, i, reports.back());
        }
        return *this;
    }

    // A report with a header of the test's choice.
    Wire& add(unsigned header, const Bytes& bytes)
    {
        reports.push_back(padded(head(header) + bytes, reportSize_));
        return *this;
    }

    // The frames that come out at the other end.
    std::vector<Bytes> frames() const
    {
        ReportAssembler assembler;
        std::vector<Bytes> all;
        for (const Bytes& report : reports) {
            if (assembler.accept(report)) {
                all.push_back(assembler.frame());
            }
        }
        return all;
    }

    std::vector<Bytes> reports;

private:
    std::size_t reportSize_;
};

class Segments : public testing::TestWithParam<std::size_t> {
protected:
    Wire wire{GetParam()};
    const std::size_t capacity = wire.capacity();
    const unsigned full = static_cast<unsigned>(capacity) << 2; // header of a middle segment
};

INSTANTIATE_TEST_SUITE_P(BothSizes, Segments, testing::Values(64, 1024));

TEST_P(Segments, AnEmptyFrameIsNotSent)
{
    EXPECT_TRUE(wire.cut({}).reports.empty());
}

TEST_P(Segments, AFrameOfEveryLengthArrivesAsItWasSent)
{
    for (const std::size_t size : {std::size_t{1}, capacity - 1, capacity, capacity + 1, 2 * capacity - 1, 2 * capacity,
                                   2 * capacity + 1, 65'541UL, CEILING - 1, CEILING}) {
        SCOPED_TRACE(size);
        const Bytes frame = counting(size);
        const Wire sent = Wire(GetParam()).cut(frame);
        EXPECT_EQ(sent.reports.size(), (size + capacity - 1) / capacity);
        EXPECT_EQ(sent.frames(), std::vector<Bytes>{frame});
    }
    EXPECT_TRUE(Wire(GetParam()).cut(counting(CEILING + 1)).frames().empty());
}

TEST_P(Segments, TheHeaderMarksFirstAndLastAndCountsTheBytes)
{
    const Bytes frame = counting(2 * capacity + 3);
    wire.cut(frame);
    EXPECT_EQ(
        wire.reports,
        (std::vector<Bytes>{head(full | 1) + part(frame, 0, capacity), head(full) + part(frame, capacity, 2 * capacity),
                            padded(head(3 << 2 | 2) + part(frame, 2 * capacity, frame.size()), GetParam())}));
}

TEST_P(Segments, JoiningTrustsTheMarksAlone)
{
    const Bytes whole = counting(capacity);
    const struct {
        const char* what;
        Wire wire;
        std::vector<Bytes> frames;
    } cases[]{
        {"empty", Wire(wire).add(3, {}), {{}}},
        {"short segments, then an empty last one", Wire(wire).add(5, {9}).add(4, {8}).add(2, {}), {{9, 8}}},
        {"a first segment starts afresh", Wire(wire).add(5, {9}).add(7, {7}), {{7}}},
        {"a continuation adds to what was delivered", Wire(wire).add(7, {7}).add(6, {6}), {{7}, {7, 6}}},
        {"a continuation before any first segment", Wire(wire).add(6, {6}), {{6}}},
        {"upper header bits are ignored", Wire(wire).add(0xF007, {5}), {{5}}},
        {"more announced than a report holds", Wire(wire).add(0x0FFF, whole), {whole}},
        {"one more announced than a report holds", Wire(wire).add(((full + 4) & 0xFFF) | 3, whole), {whole}},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(test.wire.frames(), test.frames) << test.what;
    }
}

TEST_P(Segments, AnEndlessFrameIsDroppedAndTheNextOneArrives)
{
    const Bytes whole = counting(capacity);
    wire.add(full | 1, whole);
    for (std::size_t sent = capacity; sent <= CEILING; sent += capacity) {
        wire.add(full, whole);
    }
    wire.add(6, {1}); // would be the end of the frame that was dropped
    wire.add(7, {2});
    EXPECT_EQ(wire.frames(), std::vector<Bytes>{Bytes{2}});
}

} // namespace
