// The parts of tarvix-sim's ports: segmentation, faults, latency, and what goes to the kernel's interfaces.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/input.h>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <termios.h>
#include <vector>

#include <gtest/gtest.h>

#include "ports/gadget/node.hpp"
#include "ports/shared/adapter_host.hpp"
#include "ports/shared/event_loop.hpp"
#include "ports/shared/report_codec.hpp"
#include "ports/uhid/device.hpp"

namespace {

using namespace sim;
using std::chrono::milliseconds;

constexpr auto PATIENCE = std::chrono::seconds(20);

// Runs the loop until the condition holds; it is looked at after every millisecond.
template <typename Condition>
bool runUntil(EventLoop& loop, Condition condition)
{
    const auto deadline = EventLoop::Clock::now() + PATIENCE;
    bool met = condition();
    std::function<void()> look = [&] {
        met = condition();
        if (met || EventLoop::Clock::now() > deadline) {
            loop.stop();
        } else {
            loop.after(milliseconds(1), look);
        }
    };
    if (!met) {
        loop.after(milliseconds(1), look);
        loop.run();
    }
    return met;
}

Report report(std::size_t size, std::vector<std::uint8_t> begin)
{
    begin.resize(size);
    return begin;
}

// Segment header, then request 1: USB string 3.
Report serialNumberRequest(std::size_t size)
{
    return report(size, {0x17, 0x00, 0x01, 0x00, 0x07, 0x04, 0x03});
}

Report resetRequest(std::size_t size)
{
    return report(size, {0x13, 0x00, 0x02, 0x00, 0x01, 0x04});
}

TEST(ReportCodec, CutsAtTheSegmentsCapacity)
{
    const struct {
        std::size_t reportSize;
        std::size_t frameSize;
        std::vector<unsigned> headers;
    } cases[] = {
        {64, 0, {0x0003}},
        {64, 1, {0x0007}},
        {64, 62, {0x00FB}},
        {64, 63, {0x00F9, 0x0006}},
        {64, 186, {0x00F9, 0x00F8, 0x00FA}},
        {1024, 1022, {0x0FFB}},
        {1024, 1023, {0x0FF9, 0x0006}},
    };
    for (const auto& [reportSize, frameSize, headers] : cases) {
        const Frame frame(frameSize, 0x5A);
        const auto reports = cutIntoReports(frame, reportSize);
        std::vector<unsigned> found;
        FrameJoiner joiner;
        const Frame* joined = nullptr;
        for (const Report& one : reports) {
            EXPECT_EQ(one.size(), reportSize);
            found.push_back(one[0] | static_cast<unsigned>(one[1]) << 8);
            joined = joiner.take(one);
        }
        EXPECT_EQ(found, headers) << frameSize;
        ASSERT_TRUE(joined) << frameSize;
        EXPECT_EQ(*joined, frame);
    }
}

TEST(ReportCodec, JoinsOnlyWhatIsWhole)
{
    FrameJoiner joiner;
    EXPECT_FALSE(joiner.take(Report{})) << "no header";
    EXPECT_FALSE(joiner.take(Report{0x03})) << "half a header";
    EXPECT_FALSE(joiner.take(Report{0x06, 0x00, 0xAA})) << "continues nothing";
    EXPECT_FALSE(joiner.take(Report{0x05, 0xF0, 0x11})) << "first of several";
    const Frame* frame = joiner.take(Report{0xFF, 0x0F, 0x22, 0x33}); // a new first segment, longer than its report
    ASSERT_TRUE(frame);
    EXPECT_EQ(*frame, (Frame{0x22, 0x33}));

    const Report large = report(1024, {0xF8, 0x0F});
    EXPECT_FALSE(joiner.take(report(1024, {0xF9, 0x0F})));
    for (int i = 0; i < 200; ++i) { // more than any request: dropped until the next first segment
        EXPECT_FALSE(joiner.take(large));
    }
    EXPECT_FALSE(joiner.take(Report{0x06, 0x00, 0xAA}));
    EXPECT_TRUE(joiner.take(Report{0x07, 0x00, 0xAA}));
}

std::string draw(std::uint64_t seed, std::size_t index, double probability)
{
    FaultPlan plan;
    plan.seed = seed;
    plan[Fault::DROP] = probability;
    FaultFilter filter(plan, index);
    std::string drawn;
    for (int i = 0; i < 32; ++i) {
        Frame frame(8);
        drawn += filter.pass(frame).copies == 0 ? 'x' : '.';
    }
    return drawn;
}

TEST(Faults, AreDrawnAlikeEverywhere)
{
    EXPECT_EQ(draw(1, 0, 0.2), "xx.x...x..x..............xxx....") << "the same on every machine";
    EXPECT_EQ(draw(1, 1, 0.2), draw(2, 0, 0.2));
    EXPECT_NE(draw(1, 0, 0.2), draw(2, 0, 0.2));
    EXPECT_EQ(draw(1, 0, 1), std::string(32, 'x'));
    EXPECT_EQ(draw(1, 0, 0), std::string(32, '.'));
}

TEST(Faults, DamageFramesWithinTheirSize)
{
    FaultPlan plan;
    plan[Fault::TRUNCATE] = 1;
    FaultFilter cuts(plan, 0);
    plan[Fault::TRUNCATE] = 0;
    plan[Fault::GARBAGE] = 1;
    FaultFilter spoils(plan, 0);
    int spoiled = 0;
    for (int i = 0; i < 100; ++i) {
        const Frame whole(20, 0x5A);
        Frame frame = whole;
        cuts.pass(frame);
        EXPECT_LT(frame.size(), whole.size());
        frame = whole;
        spoils.pass(frame);
        EXPECT_EQ(frame.size(), whole.size());
        spoiled += frame != whole;
        frame.clear();
        cuts.pass(frame);
        spoils.pass(frame);
    }
    EXPECT_GT(spoiled, 95); // a random byte may be the old one
}

TEST(SerialNumbers, CountOnFromTheGivenOne)
{
    EXPECT_EQ(serialNumberOf("TVX0000001", 0), "TVX0000001");
    EXPECT_EQ(serialNumberOf("TVX0000001", 63), "TVX0000064");
    EXPECT_EQ(serialNumberOf("A99", 1), "A100");
    EXPECT_EQ(serialNumberOf("09", 1), "10");
    EXPECT_EQ(serialNumberOf("BENCH", 0), "BENCH");
    EXPECT_EQ(serialNumberOf("BENCH", 1), "BENCH2");
}

struct FakeCable final : Cable {
    void plugIn() override { events += "+"; }
    void pullOut() override { events += "-"; }
    bool accepts() override { return open; }
    void carry(std::span<const std::uint8_t> taken) override
    {
        reports.emplace_back(taken.begin(), taken.end());
        times.push_back(EventLoop::Clock::now());
    }

    bool open = true;
    std::string events;
    std::vector<Report> reports;
    std::vector<EventLoop::Clock::time_point> times;
};

TEST(AdapterHost, LatencyAndDelayKeepTheOrder)
{
    EventLoop loop;
    FakeCable cable;
    HostOptions options;
    options.latency = milliseconds(20);
    options.faults[Fault::DELAY] = 0.5;
    options.faults.delay = milliseconds(30);
    AdapterHost adapter(loop, options, {}, 0, cable);
    adapter.plugIn();
    const auto begin = EventLoop::Clock::now();
    for (std::uint8_t id = 1; id <= 20; ++id) {
        adapter.outputReport(report(64, {0x17, 0x00, id, 0x00, 0x07, 0x04, 0x03}));
    }
    ASSERT_TRUE(cable.reports.empty());
    ASSERT_TRUE(runUntil(loop, [&] { return cable.reports.size() == 20; }));
    for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_EQ(cable.reports[i][2], i + 1);
    }
    EXPECT_GE(cable.times.front() - begin, milliseconds(20));
    EXPECT_GE(cable.times.back() - begin, milliseconds(50));
}

TEST(AdapterHost, AnAbsenceLosesWhatWasOnItsWay)
{
    EventLoop loop;
    FakeCable cable;
    cable.open = false;
    AdapterHost adapter(loop, {}, AbsenceTimes{.reset = milliseconds(1)}, 0, cable);
    adapter.plugIn();
    adapter.outputReport(serialNumberRequest(64));
    adapter.outputReport(resetRequest(64));
    EXPECT_EQ(cable.events, "+-");
    cable.open = true;
    adapter.outputReport(serialNumberRequest(64));
    ASSERT_TRUE(runUntil(loop, [&] { return adapter.isPresent(); }));
    EXPECT_EQ(cable.events, "+-+");
    EXPECT_TRUE(cable.reports.empty());
    adapter.outputReport(serialNumberRequest(64));
    EXPECT_EQ(cable.reports.size(), 1U);
}

TEST(AdapterHost, AnUnplugFaultTakesTheResponseAlong)
{
    EventLoop loop;
    FakeCable cable;
    HostOptions options;
    options.faults[Fault::UNPLUG] = 1;
    options.away = milliseconds(1);
    AdapterHost adapter(loop, options, {}, 0, cable);
    adapter.plugIn();
    adapter.outputReport(serialNumberRequest(64));
    EXPECT_EQ(cable.events, "+-");
    EXPECT_TRUE(cable.reports.empty());
    EXPECT_TRUE(runUntil(loop, [&] { return adapter.isPresent(); }));
}

// Plays the kernel at the other end of what the port takes for /dev/uhid.
class UhidKernel : public testing::TestWithParam<std::size_t> {
protected:
    UhidKernel()
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()), 0);
        kernel_ = FileDescriptor(ends[0]);
        options_.reportSize = GetParam();
        options_.away = milliseconds(1);
        device_.emplace(loop_, options_, 0, FileDescriptor(ends[1]));
        device_->adapter().plugIn();
    }

    uhid_event next()
    {
        uhid_event event{};
        EXPECT_TRUE(runUntil(loop_, [&] { return ::read(kernel_.get(), &event, sizeof event) > 0; }));
        return event;
    }

    void tell(const uhid_event& event) { EXPECT_GT(::write(kernel_.get(), &event, sizeof event), 0); }

    void output(const std::vector<std::uint8_t>& data)
    {
        uhid_event event{};
        event.type = UHID_OUTPUT;
        event.u.output.size = static_cast<__u16>(data.size());
        event.u.output.rtype = UHID_OUTPUT_REPORT;
        std::copy(data.begin(), data.end(), event.u.output.data);
        tell(event);
    }

    EventLoop loop_;
    HostOptions options_;
    FileDescriptor kernel_;
    std::optional<UhidDevice> device_;
};

TEST_P(UhidKernel, CreatesAnswersAndDestroys)
{
    const std::size_t size = GetParam();
    uhid_event event = next();
    ASSERT_EQ(event.type, static_cast<unsigned>(UHID_CREATE2));
    const auto& create = event.u.create2;
    EXPECT_STREQ(reinterpret_cast<const char*>(create.uniq), "TVX0000001");
    EXPECT_EQ(create.bus + 0, BUS_USB);
    EXPECT_EQ(create.vendor + 0, 0x1FC9U);
    EXPECT_EQ(create.product + 0, size == 64 ? 0x82FCU : 0x82FDU);
    const std::vector<std::uint8_t> descriptor(create.rd_data, create.rd_data + create.rd_size);
    const std::vector<std::uint8_t> count{0x96, static_cast<std::uint8_t>(size & 0xFF),
                                          static_cast<std::uint8_t>(size >> 8)};
    EXPECT_NE(std::search(descriptor.begin(), descriptor.end(), count.begin(), count.end()), descriptor.end());

    std::vector<std::uint8_t> request = serialNumberRequest(size);
    for (const bool withReportId : {true, false}) {
        auto data = request;
        if (withReportId) {
            data.insert(data.begin(), 0x00);
        }
        output(data);
        event = next();
        ASSERT_EQ(event.type, static_cast<unsigned>(UHID_INPUT2));
        EXPECT_EQ(event.u.input2.size + 0U, size);
        EXPECT_EQ(std::string(event.u.input2.data + 9, event.u.input2.data + 19), "TVX0000001");
    }

    event = {};
    event.type = UHID_GET_REPORT;
    event.u.get_report.id = 77;
    tell(event);
    event = next();
    EXPECT_EQ(event.type, static_cast<unsigned>(UHID_GET_REPORT_REPLY));
    EXPECT_EQ(event.u.get_report_reply.id + 0, 77U);
    EXPECT_NE(event.u.get_report_reply.err + 0, 0);

    output(resetRequest(size));
    EXPECT_EQ(next().type, static_cast<unsigned>(UHID_DESTROY));
    EXPECT_EQ(next().type, static_cast<unsigned>(UHID_CREATE2));
    device_.reset();
    EXPECT_EQ(next().type, static_cast<unsigned>(UHID_DESTROY));
}

INSTANTIATE_TEST_SUITE_P(ReportSizes, UhidKernel, testing::Values(64, 1024));

// A pseudo-terminal in raw mode behaves enough like a gadget's node: reads, writes, and is full at some point.
class Gadget : public testing::Test {
protected:
    void SetUp() override
    {
        side_ = FileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        const char* name = side_ && ::unlockpt(side_.get()) == 0 ? ::ptsname(side_.get()) : nullptr;
        node_ = name ? name : "";
        keepOpen_ = FileDescriptor(::open(node_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        if (!keepOpen_) {
            GTEST_SKIP() << "this system has no pseudo-terminals: /dev/pts is not mounted";
        }
        termios settings{};
        EXPECT_EQ(::tcgetattr(keepOpen_.get(), &settings), 0);
        ::cfmakeraw(&settings);
        EXPECT_EQ(::tcsetattr(keepOpen_.get(), TCSANOW, &settings), 0);
    }

    // One input report, or what came of it in time.
    Report next(EventLoop& loop)
    {
        Report taken;
        runUntil(loop, [&] {
            Report rest(64 - taken.size());
            const auto size = ::read(side_.get(), rest.data(), rest.size());
            taken.insert(taken.end(), rest.begin(), rest.begin() + std::max<ssize_t>(size, 0));
            return taken.size() == 64;
        });
        return taken;
    }

    void output(const Report& data) const
    {
        EXPECT_EQ(::write(side_.get(), data.data(), data.size()), static_cast<ssize_t>(data.size()));
    }

    FileDescriptor side_;
    FileDescriptor keepOpen_;
    std::string node_;
};

TEST_F(Gadget, AnswersAndLeavesTheBusForAReset)
{
    const auto udc = std::filesystem::temp_directory_path() / ("tarvix-udc." + std::to_string(::getpid()));
    const auto bound = [&] {
        std::string text;
        std::ifstream(udc) >> text;
        return text;
    };
    std::ofstream(udc) << "dummy_udc.0\n";
    EventLoop loop;
    HostOptions options;
    options.away = milliseconds(5);
    GadgetNode gadget(loop, options, 0, node_, udc.string());
    gadget.start();
    output(serialNumberRequest(64));
    const Report answer = next(loop);
    ASSERT_EQ(answer.size(), 64U);
    EXPECT_EQ(std::string(answer.begin() + 9, answer.begin() + 19), "TVX0000001");

    output(resetRequest(64));
    EXPECT_TRUE(runUntil(loop, [&] { return bound().empty(); }));
    EXPECT_TRUE(runUntil(loop, [&] { return bound() == "dummy_udc.0"; }));
    output(serialNumberRequest(64));
    EXPECT_EQ(next(loop), answer);
    std::filesystem::remove(udc);
}

TEST_F(Gadget, AHostThatDoesNotReadKeepsNobodyFromWriting)
{
    EventLoop loop;
    GadgetNode gadget(loop, {}, 0, node_, "");
    gadget.start();
    // Far more responses than the node holds; each request must be taken although no response is.
    std::size_t sent = 0;
    EXPECT_TRUE(runUntil(loop, [&] {
        const Report request = serialNumberRequest(64);
        sent += ::write(side_.get(), request.data(), request.size()) == 64;
        return sent == 1'000;
    }));
    EXPECT_EQ(next(loop).size(), 64U);
}

} // namespace
