// tarvix-sim as its user sees it: options, exit statuses, signals, faults, and programs that nobody here wrote.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Outcome {
    int status;
    std::string output; // stdout and stderr
};

Outcome shell(const std::string& command)
{
    Outcome outcome{};
    FILE* const pipe = ::popen(("exec 2>&1; " + command).c_str(), "r");
    char buffer[4096];
    for (std::size_t size; (size = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        outcome.output.append(buffer, size);
    }
    outcome.status = WEXITSTATUS(::pclose(pipe));
    return outcome;
}

Outcome sim(const std::string& arguments)
{
    return shell(TARVIX_SIM " " + arguments);
}

TEST(Program, SaysInOneLineWhatIsWrong)
{
    const std::tuple<const char*, int, const char*> cases[]{
        {"run --report-size 63 -- true", 2, "tarvix-sim: --report-size: '63' is neither 64 nor 1024"},
        {"uhid --device /nowhere/uhid", 1, "modprobe uhid"},
        {"gadget --serial A1 /nowhere/hidg0", 1, "configure a USB HID gadget"},
        {"gadget --udc-file x /nowhere/hidg0", 1, "configure a USB HID gadget"},
        {"trigger ibi", 1, "tarvix-sim run"},
    };
    for (const auto& [arguments, status, advice] : cases) {
        const auto outcome = sim(arguments);
        EXPECT_EQ(outcome.status, status) << arguments;
        EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1) << outcome.output;
        EXPECT_NE(outcome.output.find(advice), std::string::npos) << outcome.output;
    }
}

TEST(Program, PassesTheCommandsStatusOn)
{
    const std::tuple<const char*, int, const char*> cases[]{
        {"sh -c 'exit 3'", 3, ""},
        {"sh -c 'kill -KILL $$'", 128 + 9, ""},
        {"sh -c 'read line; echo $line' << end\nwords\nend\n", 0, "words\n"},
        {"sh -c 'trap \"exit 9\" TERM; kill -TERM $PPID; while :; do sleep 0.01; done'", 9, ""},
        {"sh -c 'trap \"exit 8\" HUP; kill -HUP $PPID; while :; do sleep 0.01; done'", 8, ""},
        {"printf '%s,' -- a -x", 0, "--,a,-x,"},
        {"/nowhere/program", 127, "tarvix-sim: cannot run /nowhere/program: No such file or directory\n"},
        {"/", 126, "tarvix-sim: cannot run /: Permission denied\n"},
        {"sh -c 'kill -PIPE $$'", 128 + 13, ""},
        // A standard error that takes nothing.
        {"/nowhere/program 2>&-", 127, ""},
        {"sh -c 'echo x >&2 || echo closed' 2>&-", 0, "closed\n"},
    };
    for (const auto& [command, status, output] : cases) {
        const auto outcome = sim(std::string("run -- ") + command);
        EXPECT_EQ(outcome.status, status) << command << ": " << outcome.output;
        EXPECT_EQ(outcome.output, output) << command;
    }
}

TEST(Program, LeavesNothingBehindAndKeepsWhatWasPreloaded)
{
    const auto outcome = shell("export SIM=" TARVIX_SIM R"( XDG_RUNTIME_DIR=$(mktemp -d)
        $SIM run -- sh -c 'kill -KILL $PPID' 2>/dev/null
        LD_PRELOAD=libm.so.6 $SIM run -- sh -c '
            cd $(dirname $TARVIX_SIM_SOCKET); stat -c %a . hidraw0
            ls ..; $SIM trigger unplug; find . -name "hidraw*"
            echo $LD_PRELOAD | grep -c libtarvixsim-hid.so:.*libm.so.6' | sed 's/sim\..*/sim/'
        rmdir $XDG_RUNTIME_DIR && echo empty)");
    EXPECT_EQ(outcome.output, "700\n600\ntarvix-sim\n1\nempty\n");
}

class Tool : public testing::Test {
protected:
    void SetUp() override
    {
        if (!*TARVIX) {
            GTEST_SKIP() << "built without the tool";
        }
    }
};

TEST_F(Tool, SeesTargetsInterruptAndJoinOnATrigger)
{
    const auto outcome = shell("export SIM=" TARVIX_SIM " TARVIX=" TARVIX R"(; $SIM run --verbose -- sh -c '
        $SIM trigger ibi || echo the bus is down
        $TARVIX i3c init
        $SIM trigger ibi --target 0 0x0A 11
        $TARVIX i3c ccc DISEC @8 1
        $SIM trigger ibi --target 0 || echo masked
        $SIM trigger hot-join --target 0 || echo has an address
        $TARVIX i3c ccc RSTDAA
        $SIM trigger hot-join --target 1
        $SIM trigger unplug
        $SIM trigger unplug || echo already out' 2>&1 | grep -E '> 00 00|^(the bus|masked|has|already)')");
    EXPECT_EQ(outcome.output, "the bus is down\n"
                              "tarvix-sim: TVX0000001 > 00 00 81 19 00 00 08 02 0a 0b (other)\n"
                              "masked\nhas an address\n"
                              "tarvix-sim: TVX0000001 > 00 00 82 19 00 00 7f fe 56 78 90 02 02 c6 08 (other)\n"
                              "already out\n");
}

TEST_F(Tool, WorksWhereStandardErrorTakesNothing)
{
    for (const std::string error : {"2>&-", "2>/dev/full", "2> >(:); wait $!"}) {
        const auto outcome =
            shell("bash -c 'exec 3>&1 " + error + "; " TARVIX_SIM " run --verbose -- " TARVIX " gpio get 3 >&3'");
        EXPECT_EQ(outcome.status, 0) << error;
        EXPECT_EQ(outcome.output, "3=low\n") << error;
    }
}

TEST_F(Tool, DoesNotWaitForeverForAStoppedSimulator)
{
    const auto outcome = shell("export SIM=" TARVIX_SIM " TARVIX=" TARVIX R"(; $SIM run -- sh -c '
        kill -STOP $PPID
        $TARVIX list & $SIM trigger ibi || echo no answer
        wait
        kill -CONT $PPID
        $TARVIX gpio get 3' 2>/dev/null)");
    EXPECT_EQ(outcome.output, "no answer\n3=low\n");
}

TEST_F(Tool, GetsTransfersOfEverySizeWhole)
{
    for (const std::string reportSize : {"64", "1024"}) {
        for (const std::string size : {"53", "54", "55", "1014", "1015", "65535"}) { // 54 and 1014 fill a report
            const std::string source = "seq 99999 | head -c " + size;
            const auto outcome = sim("run --report-size " + reportSize + " -- sh -c '" + source +
                                     " | " TARVIX " spi transfer --select 1 --raw -'");
            EXPECT_EQ(outcome.output, shell(source).output) << reportSize << ", " << size;
        }
    }
}

TEST(Program, DrivesAForeignProgram)
{
    const std::string python = "/usr/bin/python3 ";
    if (shell(python + "-c 'import hid, hidraw'").status != 0) {
        GTEST_SKIP() << "Python's module hid is not installed (Debian package python3-hid)";
    }
    std::vector<std::string> modules{"hidraw"};
    // With a hidapi of its own this one asks libusb for USB devices, which no port but the gadget has.
    if (shell("ldd $(" + python + "-c 'import hid; print(hid.__file__)') | grep libhidapi").status == 0) {
        modules.emplace_back("hid");
    }
    for (const std::string& module : modules) {
        const auto outcome = sim("run --adapters 3 --away 60000 -- " + python + FOREIGN_PROGRAM " " + module);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output, "['TVX0000001', 'TVX0000002', 'TVX0000003']\n11 TVX0000002\n"
                                  "gone ['TVX0000001', 'TVX0000003']\n");
    }
}

// Nothing of it calls the shared hidapi: it finds the adapter through udev, its node and the files of sysfs.
TEST(Program, DrivesAProgramWithHidapiInside)
{
    if (!*HIDAPI_INSIDE) {
        GTEST_SKIP() << "built without libhidapi-hidraw.a (Debian package libhidapi-dev)";
    }
    const auto outcome = sim("run --adapters 3 -- sh -c 'cd /; " HIDAPI_INSIDE " " TARVIX_SIM "'");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output,
              "TVX0000001 usage ff00, TVX0000002 usage ff00, TVX0000003 usage ff00, \n"
              "TVX0000002 Tarvix Virtual Adapter: 65, 64 TVX0000002\n"
              "3 1fc9:82fc, 26 bytes from 06 to c0, 5 TVX00, cloexec 1, limit 0, -1 1, -1 1, -1 1, 1, 1\n"
              "remove hidraw1 TVX0000002\n"
              "TVX0000001 usage ff00, TVX0000003 usage ff00, \n"
              "read -1, write -1, write -1 1, node -1\n"
              "add hidraw1 TVX0000002\n"
              "TVX0000002 Tarvix Virtual Adapter: 65, 64 TVX0000002\n");
}

// 500 commands, 20 on each of 25 adapters.
class Faults : public testing::TestWithParam<std::string> {};

TEST_P(Faults, EndInDocumentedStatuses)
{
    // Of the library, and of the adapter for a port whose initialisation was lost.
    const std::set<std::string> documented{"0000", "2000", "6000", "a000", "0106"};
    for (const std::string probability : {"1", "0.2"}) {
        const auto outcome = sim("run --adapters 25 --away 20 --fault-delay 10 --fault " + GetParam() + ":" +
                                 probability + " -- " STATUSES " 25 20 100");
        EXPECT_EQ(outcome.status, 0);
        std::istringstream words(outcome.output);
        const std::set<std::string> statuses(std::istream_iterator<std::string>(words), {});
        const bool loses = GetParam() == "drop" || GetParam() == "unplug";
        if (loses && probability == "1") {
            EXPECT_EQ(statuses, std::set<std::string>{"2000"});
        } else if (loses) {
            EXPECT_TRUE(statuses.contains("0000") && statuses.contains("2000")) << outcome.output;
        }
        EXPECT_FALSE(statuses.contains("absent")) << outcome.output;
        if (GetParam() != "garbage") { // which may be taken for any status
            EXPECT_TRUE(std::ranges::includes(documented, statuses)) << outcome.output;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Every, Faults, testing::Values("drop", "delay", "truncate", "duplicate", "garbage", "unplug"),
                         [](const auto& fault) { return fault.param; });

} // namespace
