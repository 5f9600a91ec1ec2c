// The parts of tarvix-sim's ports: joining segments, faults, latency, and what goes to the kernel's interfaces.
#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/input.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <termios.h>
#include <vector>

#include <gtest/gtest.h>

#include "ports/gadget/node.hpp"
#include "ports/run/listener.hpp"
#include "ports/run/node.hpp"
#include "ports/run/private_directory.hpp"
#include "ports/run/socket.hpp"
#include "ports/shared/adapter_host.hpp"
#include "ports/shared/event_loop.hpp"
#include "ports/shared/report_codec.hpp"
#include "ports/uhid/device.hpp"
#include "support/bytes.hpp"

namespace {

std::optional<int> refusedAccepts; // while it has a value, there is no descriptor for a connection

}

// In place of the C library's.
extern "C" int accept4(int socket, sockaddr* address, socklen_t* size, int flags)
{
    if (refusedAccepts) {
        ++*refusedAccepts;
        errno = EMFILE;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_accept4, socket, address, size, flags));
}

namespace {

using namespace sim;
using std::chrono::milliseconds;

constexpr auto PATIENCE = std::chrono::seconds(20);

// Runs the loop until the condition holds; it is looked at after every millisecond.
template <typename Condition>
bool runUntil(EventLoop& loop, Condition condition)
{
    const auto deadline = EventLoop::Clock::now() + PATIENCE;
    bool met = false;
    std::function<void()> look = [&] {
        met = condition();
        if (met || EventLoop::Clock::now() > deadline) {
            loop.stop();
        } else {
            loop.after(milliseconds(1), look);
        }
    };
    loop.after(milliseconds(0), look);
    loop.run();
    return met;
}

// Requests in one segment: USB string 3, restart, and boot mode.
const Bytes SERIAL_NUMBER{0x17, 0x00, 0x01, 0x00, 0x07, 0x04, 0x03};
const Bytes RESET{0x13, 0x00, 0x02, 0x00, 0x01, 0x04};
const Bytes BOOT_MODE{0x13, 0x00, 0x03, 0x00, 0x02, 0x04};

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

    const Report large = padded({0xF8, 0x0F}, 1024);
    EXPECT_FALSE(joiner.take(padded({0xF9, 0x0F}, 1024)));
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
    FaultFilter drops(plan, index);
    std::string drawn;
    for (int i = 0; i < 32; ++i) {
        Frame frame(8);
        drawn += drops.pass(frame).copies == 0 ? 'x' : '.';
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

TEST(SerialNumbers, CountOnFromTheGivenOne)
{
    EXPECT_EQ(serialNumberOf("A99", 1), "A100");
    EXPECT_EQ(serialNumberOf("09", 1), "10");
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

struct AdapterHostTest : testing::Test {
    AdapterHost& plugIn()
    {
        host.emplace(loop, options, AbsenceTimes{.reset = milliseconds(1)}, 0, cable);
        host->plugIn();
        return *host;
    }

    EventLoop loop;
    FakeCable cable;
    HostOptions options;
    std::optional<AdapterHost> host;
};

TEST_F(AdapterHostTest, LatencyAndDelayKeepTheOrder)
{
    options.latency = milliseconds(20);
    options.faults[Fault::DELAY] = 0.5;
    options.faults.delay = milliseconds(30);
    AdapterHost& adapter = plugIn();
    const auto begin = EventLoop::Clock::now();
    for (std::uint8_t id = 1; id <= 20; ++id) {
        adapter.outputReport(Bytes{0x17, 0x00, id, 0x00, 0x07, 0x04, 0x03});
    }
    ASSERT_TRUE(cable.reports.empty());
    ASSERT_TRUE(runUntil(loop, [&] { return cable.reports.size() == 20; }));
    for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_EQ(cable.reports[i][2], i + 1);
    }
    EXPECT_GE(cable.times.front() - begin, milliseconds(20));
    EXPECT_GE(cable.times.back() - begin, milliseconds(50));
}

TEST_F(AdapterHostTest, AnAbsenceLosesWhatWasOnItsWay)
{
    cable.open = false;
    AdapterHost& adapter = plugIn();
    adapter.outputReport(SERIAL_NUMBER);
    adapter.outputReport(RESET);
    EXPECT_EQ(cable.events, "+-");
    cable.open = true;
    adapter.outputReport(SERIAL_NUMBER);
    ASSERT_TRUE(runUntil(loop, [&] { return adapter.isPresent(); }));
    EXPECT_EQ(cable.events, "+-+");
    EXPECT_TRUE(cable.reports.empty());
    adapter.outputReport(SERIAL_NUMBER);
    EXPECT_EQ(cable.reports.size(), 1U);
}

TEST_F(AdapterHostTest, BootModeLasts)
{
    plugIn().outputReport(BOOT_MODE);
    bool later = false;
    loop.after(milliseconds(5), [&] { later = true; });
    ASSERT_TRUE(runUntil(loop, [&] { return later; }));
    EXPECT_EQ(cable.events, "+-") << "came back like after a reset";
}

TEST(PrivateDirectory, OutlivesOnlyItsProgram)
{
    namespace fs = std::filesystem;
    std::string parent = fs::temp_directory_path() / "tarvix-test.XXXXXX";
    ASSERT_TRUE(::mkdtemp(parent.data()));
    ::unsetenv("XDG_RUNTIME_DIR");
    ::setenv("TMPDIR", fs::relative(parent).c_str(), 1);

    const PrivateDirectory living;
    EXPECT_EQ(living.path(), fs::canonical(living.path()));
    listenOn(living.path() + '/' + SOCKET_NAME); // and listens no longer
    const fs::path starting = parent + "/tarvix-sim.starting";
    const fs::path killedEarly = parent + "/tarvix-sim.early";
    const fs::path killed = parent + "/tarvix-sim.killed";
    for (const auto& path : {starting, killedEarly, killed}) {
        fs::create_directory(path);
    }
    fs::last_write_time(killedEarly, fs::file_time_type::clock::now() - std::chrono::hours(1));
    listenOn(killed / SOCKET_NAME);
    ::setenv("XDG_RUNTIME_DIR", "/nowhere", 1);
    PrivateDirectory{};
    EXPECT_TRUE(fs::exists(living.path()) && fs::exists(starting));
    EXPECT_FALSE(fs::exists(killedEarly));
    EXPECT_FALSE(fs::exists(killed));
    ::unsetenv("XDG_RUNTIME_DIR");
    ::unsetenv("TMPDIR");
    fs::remove_all(parent);
}

// The programs at a node that holds 63 reports for each: one that reads as soon as its queue may be full, and one that
// does not read at all.
TEST(RunNode, HoldsReportsForAReaderAndLosesThemForAnother)
{
    std::string directory = std::filesystem::temp_directory_path() / "tarvix-test.XXXXXX";
    ASSERT_TRUE(::mkdtemp(directory.data()));
    for (const std::size_t reportSize : {64UL, 1024UL}) {
        EventLoop loop;
        HostOptions options;
        options.reportSize = reportSize;
        RunNode node(loop, options, 0, directory, [](const RunNode&, const char*) {});
        node.adapter().plugIn();
        const auto take = [&](const FileDescriptor& handle, Bytes& ids) {
            std::array<std::uint8_t, 1024> report{};
            while (::recv(handle.get(), report.data(), report.size(), MSG_DONTWAIT) > 0) {
                ids.push_back(report[2]);
            }
            return ids.size();
        };
        const auto open = [&] {
            auto handle = connectTo(node.path() + NODE_SOCKET_SUFFIX);
            Bytes answer;
            EXPECT_TRUE(runUntil(loop, [&] { return take(handle, answer) == 1; }));
            return handle;
        };
        const auto reader = open();
        const auto sleeper = open();
        Bytes all;
        for (std::uint8_t id = 0; id < 100; ++id) {
            const Bytes request{0x00, 0x17, 0x00, id, 0x00, 0x07, 0x04, 0x03};
            ASSERT_GT(::send(reader.get(), request.data(), request.size(), 0), 0);
            all.push_back(id);
        }
        Bytes read;
        EXPECT_TRUE(runUntil(loop, [&] { return take(reader, read) == 100; }));
        EXPECT_EQ(read, all);
        Bytes unread;
        take(sleeper, unread);
        EXPECT_EQ(unread, Bytes(all.begin(), all.begin() + 63));
    }
    std::filesystem::remove_all(directory);
}

TEST(Listener, RestsWhileDescriptorsAreShort)
{
    std::string directory = std::filesystem::temp_directory_path() / "tarvix-test.XXXXXX";
    ASSERT_TRUE(::mkdtemp(directory.data()));
    EventLoop loop;
    int accepted = 0;
    const Listener listener(loop, listenOn(directory + "/socket"), [&](FileDescriptor) { ++accepted; });
    const auto client = connectTo(directory + "/socket");
    std::filesystem::remove_all(directory);

    refusedAccepts = 0;
    const auto begin = EventLoop::Clock::now();
    EXPECT_TRUE(runUntil(loop, [&] { return EventLoop::Clock::now() - begin > milliseconds(200); }));
    EXPECT_GE(*refusedAccepts, 1);
    EXPECT_LE(*refusedAccepts, 1 + (EventLoop::Clock::now() - begin) / milliseconds(50));
    refusedAccepts.reset();
    EXPECT_TRUE(runUntil(loop, [&] { return accepted == 1; })) << "taken as soon as there is a descriptor";
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

    uhid_event next(uhid_event_type type)
    {
        uhid_event event{};
        EXPECT_TRUE(runUntil(loop_, [&] { return ::read(kernel_.get(), &event, sizeof event) > 0; }));
        EXPECT_EQ(event.type, static_cast<unsigned>(type));
        return event;
    }

    void tell(const uhid_event& event) { EXPECT_GT(::write(kernel_.get(), &event, sizeof event), 0); }

    void output(const Bytes& data)
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
    uhid_event event = next(UHID_CREATE2);
    const auto& create = event.u.create2;
    EXPECT_STREQ(reinterpret_cast<const char*>(create.uniq), "TVX0000001");
    EXPECT_EQ(create.bus + 0, BUS_USB);
    EXPECT_EQ(create.vendor + 0, 0x1FC9U);
    EXPECT_EQ(create.product + 0, size == 64 ? 0x82FCU : 0x82FDU);
    const Bytes descriptor(create.rd_data, create.rd_data + create.rd_size);
    const Bytes count{0x96, static_cast<std::uint8_t>(size & 0xFF), static_cast<std::uint8_t>(size >> 8)};
    EXPECT_NE(std::search(descriptor.begin(), descriptor.end(), count.begin(), count.end()), descriptor.end());

    const Bytes request = padded(SERIAL_NUMBER, size);
    for (const Bytes& written : {request, Bytes{0x00} + request}) { // without and with a report id
        output(written);
        event = next(UHID_INPUT2);
        EXPECT_EQ(event.u.input2.size + 0U, size);
        EXPECT_EQ(std::string(event.u.input2.data + 9, event.u.input2.data + 19), "TVX0000001");
    }

    event = {};
    event.type = UHID_GET_REPORT;
    event.u.get_report.id = 77;
    tell(event);
    event = next(UHID_GET_REPORT_REPLY);
    EXPECT_EQ(event.u.get_report_reply.id + 0, 77U);
    EXPECT_NE(event.u.get_report_reply.err + 0, 0);

    output(padded(RESET, size));
    next(UHID_DESTROY);
    next(UHID_CREATE2);
    device_.reset();
    next(UHID_DESTROY);
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
    Report next()
    {
        Report taken;
        runUntil(loop_, [&] {
            std::uint8_t byte = 0;
            while (taken.size() < 64 && ::read(side_.get(), &byte, 1) == 1) {
                taken.push_back(byte);
            }
            return taken.size() == 64;
        });
        return taken;
    }

    bool output(const Bytes& request) const { return ::write(side_.get(), padded(request, 64).data(), 64) == 64; }

    EventLoop loop_;
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
    HostOptions options;
    options.away = milliseconds(5);
    GadgetNode gadget(loop_, options, 0, node_, udc.string());
    gadget.start();
    EXPECT_TRUE(output(SERIAL_NUMBER));
    const Report answer = next();
    ASSERT_EQ(answer.size(), 64U);
    EXPECT_EQ(std::string(answer.begin() + 9, answer.begin() + 19), "TVX0000001");

    EXPECT_TRUE(output(RESET));
    EXPECT_TRUE(runUntil(loop_, [&] { return bound().empty(); }));
    EXPECT_TRUE(runUntil(loop_, [&] { return bound() == "dummy_udc.0"; }));
    EXPECT_TRUE(output(SERIAL_NUMBER));
    EXPECT_EQ(next(), answer);
    std::filesystem::remove(udc);
}

TEST_F(Gadget, AHostThatDoesNotReadKeepsNobodyFromWriting)
{
    GadgetNode gadget(loop_, {}, 0, node_, "");
    gadget.start();
    // Far more responses than the node holds; each request must be taken although no response is.
    std::size_t sent = 0;
    EXPECT_TRUE(runUntil(loop_, [&] {
        sent += output(SERIAL_NUMBER);
        return sent == 1'000;
    }));
    EXPECT_EQ(next().size(), 64U);
}

} // namespace
