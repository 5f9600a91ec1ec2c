// The parts of tarvix-sim's ports: joining segments, faults, latency, and what goes to the kernel's interfaces.
#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <pty.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <vector>

#include <gtest/gtest.h>

#include "board/serial_number.hpp"
#include "ports/gadget/node.hpp"
#include "ports/run/listener.hpp"
#include "ports/run/node.hpp"
#include "ports/run/private_directory.hpp"
#include "ports/run/socket.hpp"
#include "ports/run/virtual_adapters.hpp"
#include "ports/shared/adapter_host.hpp"
#include "ports/shared/event_loop.hpp"
#include "ports/shared/report_codec.hpp"
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

// A new folder in the usual place.
std::string makeDirectory()
{
    std::string path = std::filesystem::temp_directory_path() / "tarvix-test.XXXXXX";
    EXPECT_TRUE(::mkdtemp(path.data()));
    return path;
}

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
    HostOptions options{.adapters = defaultBoard()};
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

TEST_F(AdapterHostTest, NobodyHearsWhatDevicesDoInItsAbsence)
{
    options.adapters = parseBoard("board.json", R"({"version": 1, "adapters": [{
        "i2c": [{"devices": {"0x19": {"type": "register_map", "name": "imu",
            "samples": [{"registers": [1], "values": [1, 0], "every_ms": 1}], "interrupt": {"register": 1}}}}],
        "gpio": {"wires": [{"pins": [3], "lines": ["imu.interrupt"]}]}}]})");
    const auto wait = [this] {
        bool over = false;
        loop.after(milliseconds(20), [&] { over = true; });
        return runUntil(loop, [&] { return over; });
    };
    AdapterHost& adapter = plugIn();
    adapter.outputReport(Bytes{0x1B, 0x00, 0x01, 0x00, 0x04, 0x14, 0x03, 0x02}); // arms pin 3
    ASSERT_TRUE(runUntil(loop, [&] { return cable.reports.size() >= 3; }));
    adapter.pullOut();
    const std::size_t heard = cable.reports.size();
    ASSERT_TRUE(wait());
    adapter.plugIn();
    ASSERT_TRUE(wait());
    EXPECT_EQ(cable.reports.size(), heard);
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
    const std::string parent = makeDirectory();
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
// reads nothing until much later, and at last leaves without reading. What it sent before it left counts.
TEST(RunNode, HoldsReportsForAReaderAndLosesThemForAnother)
{
    const std::string directory = makeDirectory();
    for (const std::size_t reportSize : {64UL, 1024UL}) {
        EventLoop loop;
        HostOptions options{.adapters = defaultBoard()};
        options.adapters.front().reportSize = reportSize;
        VirtualAdapters adapters(options);
        RunNode node(loop, adapters, identityOf(options.adapters.front()), 0, directory,
                     [](const RunNode&, const char*) {});
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
        auto sleeper = open();
        const auto send = [](const FileDescriptor& handle, std::uint8_t id) {
            const Bytes request{0x00, 0x17, 0x00, id, 0x00, 0x07, 0x04, 0x03};
            return ::send(handle.get(), request.data(), request.size(), 0) > 0;
        };
        Bytes all;
        for (std::uint8_t id = 0; id < 100; ++id) {
            ASSERT_TRUE(send(reader, id));
            all.push_back(id);
        }
        Bytes read;
        EXPECT_TRUE(runUntil(loop, [&] { return take(reader, read) == 100; }));
        EXPECT_EQ(read, all);
        Bytes unread;
        take(sleeper, unread);
        EXPECT_EQ(unread, Bytes(all.begin(), all.begin() + 63));
        ASSERT_TRUE(send(reader, 100));
        EXPECT_TRUE(runUntil(loop, [&] { return take(reader, read) == 101; }));
        ASSERT_TRUE(send(sleeper, 101));
        sleeper.reset();
        EXPECT_TRUE(runUntil(loop, [&] { return take(reader, read) == 102; }));
    }
    std::filesystem::remove_all(directory);
}

TEST(Listener, RestsWhileDescriptorsAreShort)
{
    const std::string directory = makeDirectory();
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

TEST(Gadget, AHostThatDoesNotReadKeepsNobodyFromWriting)
{
    // A pseudo-terminal in raw mode is enough like a gadget's node: it reads, writes, and is full at some point.
    termios settings{};
    ::cfmakeraw(&settings);
    std::array<char, 64> name{};
    int host = -1;
    int node = -1;
    if (::openpty(&host, &node, name.data(), &settings, nullptr) != 0) {
        GTEST_SKIP() << "this system has no pseudo-terminals: /dev/pts is not mounted";
    }
    const FileDescriptor closesHost(host);
    const FileDescriptor closesNode(node);
    ::fcntl(host, F_SETFL, O_NONBLOCK);
    EventLoop loop;
    const HostOptions options{.adapters = defaultBoard()};
    GadgetNode gadget(loop, options, 0, name.data(), "");
    gadget.start();
    // Far more responses than the node holds; each request must be taken although no response is.
    Bytes report = padded(SERIAL_NUMBER, 64);
    std::size_t sent = 0;
    EXPECT_TRUE(runUntil(loop, [&] {
        sent += ::write(host, report.data(), report.size()) == 64 ? 1 : 0;
        return sent == 1'000;
    }));
    EXPECT_EQ(::read(host, report.data(), report.size()), 64);
    EXPECT_EQ(std::string(report.begin() + 9, report.begin() + 19), "TVX0000001");
}

} // namespace
