// tarvix-sim as its user sees it: options, exit statuses, signals, and programs that nobody here wrote.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <sys/wait.h>
#include <tuple>

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

// Its own errors are one line each.
TEST(Program, EndsAsItsCommandDoesOrSaysWhatIsWrong)
{
    std::signal(SIGHUP, SIG_DFL); // a shell cannot trap what it finds ignored, as under nohup
    const std::tuple<const char*, int, const char*> cases[]{
        {"run -- sh -c 'exit 3'", 3, ""},
        {"run -- sh -c 'kill -KILL $$'", 128 + 9, ""},
        {"run -- sh -c 'kill -PIPE $$'", 128 + 13, ""},
        {"run -- sh -c 'read line; echo $line' << end\nwords\nend\n", 0, "words\n"},
        {"run -- sh -c 'trap \"exit 9\" TERM; kill -TERM $PPID; while :; do sleep 0.01; done'", 9, ""},
        {"run -- sh -c 'trap \"exit 8\" HUP; kill -HUP $PPID; while :; do sleep 0.01; done'", 8, ""},
        {"run -- printf '%s,' -- a -x", 0, "--,a,-x,"},
        {"run -- /nowhere/program", 127, "tarvix-sim: cannot run /nowhere/program: No such file or directory\n"},
        {"run -- /", 126, "tarvix-sim: cannot run /: Permission denied\n"},
        {"run -- /nowhere/program 2>&-", 127, ""}, // a standard error that takes nothing
        {"run -- sh -c 'echo x >&2 || echo closed' 2>&-", 0, "closed\n"},
        {"run --report-size 63 -- true", 2, "tarvix-sim: --report-size: '63' is neither 64 nor 1024.*\n"},
        {"uhid --device /nowhere/uhid", 1, "tarvix-sim: .*modprobe uhid.*\n"},
        {"gadget --serial A1 /nowhere/hidg0", 1, "tarvix-sim: .*configure a USB HID gadget.*\n"},
        {"gadget --udc-file x /nowhere/hidg0", 1, "tarvix-sim: .*configure a USB HID gadget.*\n"},
        {"trigger ibi", 1, "tarvix-sim.*tarvix-sim run.*\n"},
    };
    for (const auto& [arguments, status, output] : cases) {
        const auto outcome = sim(arguments);
        EXPECT_EQ(outcome.status, status) << arguments << ": " << outcome.output;
        EXPECT_TRUE(std::regex_match(outcome.output, std::regex(output))) << arguments << ": " << outcome.output;
    }
}

TEST(Program, LeavesNothingBehindAndKeepsWhatWasPreloaded)
{
    const auto outcome = shell("export SIM=" TARVIX_SIM R"( XDG_RUNTIME_DIR=$(mktemp -d)
        $SIM run -- sh -c 'kill -KILL $PPID' 2>/dev/null
        LD_PRELOAD=libdl.so.2 $SIM run -- sh -c '
            cd $(dirname $TARVIX_SIM_SOCKET); stat -c %a . hidraw0
            ls ..; $SIM trigger unplug; find . -name "hidraw*"
            echo $LD_PRELOAD | grep -c libdl.so.2:.*libtarvixsim-hid.so' | sed 's/sim\..*/sim/'
        rmdir $XDG_RUNTIME_DIR && echo empty)");
    EXPECT_EQ(outcome.output, "700\n600\ntarvix-sim\n1\nempty\n");
}

TEST(Program, ServesWhoeverConnectsAndOnlyOnceAtAPlace)
{
    const auto outcome = shell("export SIM=" TARVIX_SIM R"( XDG_RUNTIME_DIR=$(mktemp -d); cd $XDG_RUNTIME_DIR
        serve() { rm -f ready; $SIM serve --socket ./bench "$@" > ready & until [ -s ready ]; do sleep 0.01; done; cat ready; }
        serve
        kill -KILL $!; wait $! 2>/dev/null
        $SIM run --connect bench -- true
        serve --adapters 2 --serial B1
        stat -L -c %a bench $(dirname $(readlink bench))
        $SIM serve --socket bench
        $SIM trigger put temperature 0 7 --connect bench
        $SIM run --connect bench -- sh -c "cd /; $SIM trigger get temperature 0; exit 5"; echo $?
        $SIM trigger unplug --connect bench --adapter B2
        $SIM state --connect bench | grep plugged
        kill $!; wait $!; echo $?
        ls; echo x > bench; $SIM serve --socket bench; ln -sf ready bench; $SIM serve --socket bench
        rm -r $XDG_RUNTIME_DIR)");
    EXPECT_EQ(outcome.output,
              "tarvix-sim: serves TVX0000001 at ./bench\n"
              "tarvix-sim: nobody serves at bench: start 'tarvix-sim serve --socket bench' first\n"
              "tarvix-sim: serves B1, B2 at ./bench\n600\n700\n"
              "tarvix-sim: another tarvix-sim serves at bench\n0x0007\n5\n"
              "B1  Tarvix Virtual Adapter, plugged in\nB2  Tarvix Virtual Adapter, not plugged in\n0\nready\n"
              "tarvix-sim: cannot make bench: File exists\n"
              "tarvix-sim: bench leads to ready, not to a socket of tarvix-sim: remove it or choose another name\n");
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
                              "tarvix-sim: TVX0000001 > 00 00 82 19 00 00 7f fe 56 78 90 02 22 c6 08 (other)\n"
                              "already out\n");
}

TEST_F(Tool, MeetsTheHandOnTheBench)
{
    const auto outcome = shell("export SIM=" TARVIX_SIM " TARVIX=" TARVIX R"(; $SIM run -- sh -c '
        $SIM trigger put temperature 0 0x1900
        $TARVIX i2c get 0x48 0 --word 2
        $TARVIX i2c set 0x50 0x10 1 2
        $SIM trigger get small-eeprom 0x0f 4
        $SIM trigger set pin1 high
        $TARVIX gpio get 0
        $TARVIX uart send text:hello
        $SIM trigger uart-sent
        $SIM trigger get temprature 0
        $SIM state | grep -E "wire wire0|uart|small"' 2>&1)");
    EXPECT_EQ(outcome.output,
              "0x1900\n0xff 0x01 0x02 0xff\n0=high\nhello"
              "tarvix-sim: device: 'temprature' is none of temperature, small-eeprom, large-eeprom, "
              "flash, loopback, uart, i3c0, i3c1, i3c-eeprom; did you mean 'temperature'?\n"
              "  wire wire0: high, held by hand\n  uart: initialised, bits 8\n"
              "  device small-eeprom: eeprom at i2c0-0x50, pointer 18, not busy\n  device uart: echo at uart\n");
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

TEST(Program, DrivesAForeignProgram)
{
    const std::string python = "/usr/bin/python3 ";
    if (shell(python + "-c 'import hid, hidraw'").status != 0) {
        GTEST_SKIP() << "Python's module hid is not installed (Debian package python3-hid)";
    }
    // With a hidapi of its own `hid` asks libusb for USB devices, which no port but the gadget has.
    const bool shares = shell("ldd $(" + python + "-c 'import hid; print(hid.__file__)') | grep libhidapi").status == 0;
    for (const std::string module : {"hidraw", shares ? "hid" : "hidraw"}) {
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
    const auto outcome =
        shell(R"(board=$(mktemp); echo '{"version": 1, "adapters": [{"strings": {"product": "Bench board"}}]}' > $board
        )" TARVIX_SIM " run --adapters 3 --board $board -- sh -c 'rm $0; cd /; " HIDAPI_INSIDE " " TARVIX_SIM
              "' $board");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(
        outcome.output,
        "TVX0000001 usage ff00, TVX0000002 usage ff00, TVX0000003 usage ff00, \n"
        "TVX0000002 Bench board: 65, 64 TVX0000002\n"
        "3 1fc9:82fc, 26 bytes from 06 to c0, 5 TVX00, cloexec 1, limit 0, 32, 11, 22, 1, 1\n" // EPIPE, EAGAIN, EINVAL
        "remove hidraw1 TVX0000002\n"
        "TVX0000001 usage ff00, TVX0000003 usage ff00, \n"
        "read -1, write -1, write 19, node -1\n"
        "add hidraw1 TVX0000002\n"
        "TVX0000002 Bench board: 65, 64 TVX0000002\n");
}

} // namespace
