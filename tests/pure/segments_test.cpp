// Cutting frames into reports and joining reports into frames: bytes in, bytes out. Sizes are computed from the
// report's, so that both kinds of adapter are tried at their own edges.
#include <gtest/gtest.h>

#include "support/bytes.hpp"
#include "transport/report_segmenter.hpp"

namespace {

using Reports = std::vector<Bytes>;

constexpr std::size_t CEILING = ReportAssembler::CEILING;

Bytes head(unsigned header)
{
    return {static_cast<std::uint8_t>(header), static_cast<std::uint8_t>(header >> 8)};
}

class Segments : public testing::TestWithParam<std::size_t> {
protected:
    Reports cut(const Bytes& frame) const
    {
        const ReportSegmenter segmenter(size);
        Reports reports(segmenter.segmentCount(frame.size()), Bytes(size, 0xCC));
        for (std::size_t i = 0; i < reports.size(); ++i) {
            segmenter.cut(frame, i, reports[i]);
        }
        return reports;
    }

    // A report with a header of the test's choice.
    Bytes report(unsigned header, const Bytes& bytes) const { return padded(head(header) + bytes, size); }

    static std::vector<Bytes> joined(const Reports& reports)
    {
        ReportAssembler assembler;
        std::vector<Bytes> frames;
        for (const Bytes& report : reports) {
            if (assembler.accept(report)) {
                frames.push_back(assembler.frame());
            }
        }
        return frames;
    }

    const std::size_t size = GetParam();
    const std::size_t capacity = size - 2;
    const unsigned full = static_cast<unsigned>(capacity) << 2; // header of a middle segment
};

INSTANTIATE_TEST_SUITE_P(BothSizes, Segments, testing::Values(64, 1024));

TEST_P(Segments, AFrameOfEveryLengthArrivesAsItWasSent)
{
    for (const std::size_t length : {std::size_t{1}, capacity - 1, capacity, capacity + 1, 2 * capacity - 1,
                                     2 * capacity, 2 * capacity + 1, 65'541UL, CEILING - 1, CEILING}) {
        SCOPED_TRACE(length);
        const Reports reports = cut(counting(length));
        EXPECT_EQ(reports.size(), (length + capacity - 1) / capacity);
        EXPECT_EQ(joined(reports), std::vector<Bytes>{counting(length)});
    }
    EXPECT_TRUE(joined(cut(counting(CEILING + 1))).empty());
    EXPECT_TRUE(cut({}).empty());
}

TEST_P(Segments, TheHeaderMarksFirstAndLastAndCountsTheBytes)
{
    const Bytes frame = counting(2 * capacity + 3);
    const Reports reports{report(full | 1, part(frame, 0, capacity)), report(full, part(frame, capacity, 2 * capacity)),
                          report(3 << 2 | 2, part(frame, 2 * capacity, frame.size()))};
    EXPECT_EQ(cut(frame), reports);
}

TEST_P(Segments, JoiningTrustsTheMarksAlone)
{
    const Bytes whole = counting(capacity);
    const struct {
        const char* what;
        Reports reports;
        std::vector<Bytes> frames;
    } cases[]{
        {"empty", {report(3, {})}, {{}}},
        {"short segments, then an empty last one", {report(5, {9}), report(4, {8}), report(2, {})}, {{9, 8}}},
        {"a first segment starts afresh", {report(5, {9}), report(7, {7})}, {{7}}},
        {"a continuation adds to what was delivered", {report(7, {7}), report(6, {6})}, {{7}, {7, 6}}},
        {"a continuation before any first segment", {report(6, {6})}, {{6}}},
        {"upper header bits are ignored", {report(0xF007, {5})}, {{5}}},
        {"more announced than a report holds", {report(0x0FFF, whole)}, {whole}},
        {"one more announced than a report holds", {report(((full + 4) & 0xFFF) | 3, whole)}, {whole}},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(joined(test.reports), test.frames) << test.what;
    }
}

TEST_P(Segments, AnEndlessFrameIsDroppedAndTheNextOneArrives)
{
    Reports reports{report(full | 1, counting(capacity))};
    reports.resize(1 + CEILING / capacity, report(full, counting(capacity)));
    reports.push_back(report(6, {1})); // would be the end of the frame that was dropped
    reports.push_back(report(7, {2}));
    EXPECT_EQ(joined(reports), std::vector<Bytes>{Bytes{2}});
}

} // namespace
