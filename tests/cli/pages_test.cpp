// Pages of a memory: busy, failing, and with several in flight, on a memory that says yes and no as it is told. And the
// pieces of long reads.
#include <deque>
#include <map>

#include "adapter/pieces.hpp"
#include "commands/i2c/each.hpp"
#include "commands/i2c/pages.hpp"
#include "console/errors.hpp"
#include "support/adapter.hpp"

namespace tool {

namespace {

using std::chrono::milliseconds;

struct PagesTest : ::Adapter {
    // A memory that refuses each register as many times as the list says. What it took is in `memory`.
    void refuse(std::map<unsigned, int> times)
    {
        memory.clear();
        writes.clear();
        device->onFrame([this, times = std::move(times)](const Bytes& request) mutable {
            const unsigned reg = request.at(9);
            const bool refused = times[reg]-- > 0;
            writes.push_back(reg);
            if (!refused) {
                memory[reg] = part(request, 14, request.size());
            }
            device->deliverFrame(answerTo(request, hex(refused ? "01 03" : "00 00")));
        });
    }

    // Writes 20 counting bytes from register 6 on, in pages of 8. Returns what the tool says.
    std::string write(unsigned inFlight, milliseconds busyLimit = milliseconds{LONG_ENOUGH})
    {
        GlobalOptions options;
        options.timeout = milliseconds{LONG_ENOUGH};
        Context context(options);
        try {
            writePages(context, {0, 0x50, 1, 6, 8, inFlight, busyLimit}, counting(20), "advice");
        } catch (const CommandFailed& failure) {
            return failure.what() + ("; " + failure.advice());
        }
        return "";
    }

    std::map<unsigned, Bytes> memory;
    std::vector<unsigned> writes; // registers, in the order of the requests
};

TEST_F(PagesTest, ABusyMemoryGetsItsPagesOneByOne)
{
    const Bytes data = counting(20);
    const std::map<unsigned, Bytes> whole{
        {6, part(data, 0, 2)}, {8, part(data, 2, 10)}, {16, part(data, 10, 18)}, {24, part(data, 18, 20)}};
    const struct {
        unsigned inFlight;
        std::map<unsigned, int> refusals;
        std::vector<unsigned> writes;
    } table[] = {
        {1, {}, {6, 8, 16, 24}},
        {1, {{8, 2}, {24, 1}}, {6, 8, 8, 8, 16, 24, 24}},
        {4, {}, {6, 8, 16, 24}},
        {4, {{8, 1}, {16, 1}}, {6, 8, 16, 24, 8, 16, 24}},
        {2, {{16, 3}}, {6, 8, 16, 24, 16, 16, 16, 24}},
    };
    for (const auto& [inFlight, refusals, expected] : table) {
        SCOPED_TRACE(testing::PrintToString(expected));
        refuse(refusals);
        EXPECT_EQ(write(inFlight), "");
        EXPECT_EQ(writes, expected);
        EXPECT_EQ(memory, whole);
    }
}

TEST_F(PagesTest, APageThatStaysRefusedIsNamed)
{
    for (const unsigned inFlight : {1U, 3U}) {
        refuse({{16, 1000}});
        EXPECT_EQ(write(inFlight, milliseconds{0}), "writing to 0x50 on bus 0, register 0x10: NACK (0x0301); advice");
        EXPECT_EQ(memory.count(8), 1U);
        EXPECT_EQ(memory.count(24), inFlight == 1 ? 0U : 1U);
    }
    device->onFrame([this](const Bytes& request) {
        device->deliverFrame(answerTo(request, hex(request.at(9) == 8 ? "03 01" : "00 00")));
    });
    EXPECT_NE(write(4).find("register 0x08: BAD_PARAMETER"), std::string::npos) << "refused for good, at once";
}

TEST_F(PagesTest, RegistersThatDoNotAcknowledgeAreAbsent)
{
    const auto readFrom = [&](unsigned lastGood) {
        device->onFrame([this, lastGood](const Bytes& request) {
            const unsigned reg = request.at(9);
            const std::string data = "00 00 00 01 00 " + hexOf({static_cast<std::uint8_t>(reg)});
            device->deliverFrame(answerTo(request, hex(reg % 2 == 0 && reg <= lastGood ? data : "01 03")));
        });
        Context context(GlobalOptions{});
        return readEach(context, {}, 0x48, 2, 5, 1);
    };
    const EachRegister read = readFrom(4);
    EXPECT_EQ(read.bytes, (Bytes{2, 0, 4, 0, 0}));
    EXPECT_EQ(read.absent, (std::set<std::uint64_t>{1, 3, 4}));
    EXPECT_THROW(readFrom(0), CommandFailed) << "nobody is there";
}

TEST(Pieces, FillReportsWithinTheKernelsQueueAndHumanPatience)
{
    constexpr milliseconds TIMEOUT{2000};
    const struct {
        Carriage carriage;
        std::size_t reportSize;
        milliseconds timeout;
        std::size_t piece;
    } table[] = {
        {{50'000'000, 8, 12}, 64, TIMEOUT, 60 * 62 - 12},     // the queue
        {{50'000'000, 8, 12}, 1024, TIMEOUT, 60 * 1022 - 12}, // below 65,536
        {{1'000'000, 8, 12}, 1024, TIMEOUT, 24 * 1022 - 12},  // 25,000 bytes in 200 ms
        {{100'000, 9, 9}, 64, TIMEOUT, 35 * 62 - 9},          // 2,222
        {{100'000, 9, 9}, 1024, TIMEOUT, 2 * 1022 - 9},
        {{100'000, 9, 9}, 64, milliseconds{100}, 9 * 62 - 9}, // 50 ms: half the time that an answer may take
        {{10'000, 9, 9}, 1024, TIMEOUT, 222},                 // no report is full
        {{1, 9, 9}, 64, TIMEOUT, 8},
        {{3'400'000, 9, 9}, 1024, milliseconds{1}, 8},
    };
    for (const auto& [carriage, reportSize, timeout, piece] : table) {
        EXPECT_EQ(pieceSize(carriage, reportSize, timeout), piece)
            << carriage.clock << " Hz, reports of " << reportSize << ", " << timeout.count() << " ms";
    }
}

} // namespace

} // namespace tool
