// The virtual adapter is given the golden requests: what the library sends, the adapter takes apart. The two share no
// code, so a field that both understand stands where the bytes written by hand say.
#include <gtest/gtest.h>

#include "golden/golden.hpp"
#include "model/device_status.hpp"
#include "support/bench.hpp"
#include "virtual_adapter.hpp"

namespace golden {

namespace {

TEST(GoldenTable, IsUnderstoodByTheVirtualAdapter)
{
    for (const Row& row : everyRow()) {
        SCOPED_TRACE(row.name + ": " + row.request);
        std::vector<Bytes> answers;
        StillWorld world;
        sim::VirtualAdapter adapter(sim::defaultBoard().front(), world,
                                    [&](const sim::Frame& frame) { answers.push_back(frame); });
        const Bytes request = hex("02 01 " + row.request);
        adapter.request(request);
        if (row.request == "01 04" || row.request == "02 04") {
            adapter.request(hex("03 01 09 04"));
            EXPECT_TRUE(answers.empty()) << "it has left the bus";
            continue;
        }
        ASSERT_FALSE(answers.empty());
        ASSERT_GE(answers[0].size(), 6U);
        EXPECT_EQ(part(answers[0], 0, 4), part(request, 0, 4));
        const auto status = static_cast<sim::DeviceStatus>(answers[0][4] | answers[0][5] << 8);
        EXPECT_NE(status, sim::DeviceStatus::UNKNOWN_COMMAND);
        EXPECT_EQ(status == sim::DeviceStatus::MALFORMED_FRAME, row.malformed);
        answers.clear();
        adapter.request(request + Bytes{0});
        const bool mayCountOneMore = row.request.starts_with("09 19 7E 10"); // behind a defining byte
        EXPECT_TRUE(part(answers.at(0), 4, 6) == hex("02 01") || mayCountOneMore) << "a byte too many";
    }
}

} // namespace

} // namespace golden
