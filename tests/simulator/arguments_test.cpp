// The command line of tarvix-sim, without running anything.
#include "program/arguments.hpp"

#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ports/shared/utf8.hpp"

namespace {

using namespace sim;
using std::chrono::milliseconds;
using Words = std::vector<std::string>;

Arguments parse(Words words)
{
    words.insert(words.begin(), "tarvix-sim");
    std::vector<char*> pointers;
    for (auto& word : words) {
        pointers.push_back(word.data());
    }
    return parseArguments(static_cast<int>(pointers.size()), pointers.data());
}

Arguments parse(const std::string& line)
{
    std::istringstream words(line);
    return parse(Words(std::istream_iterator<std::string>(words), {}));
}

TEST(CommandLine, EveryOptionArrives)
{
    const auto run = parse("run --report-size 1024 --serial B-7 --adapters 128 --latency 60000 --fault drop:0.25 "
                           "--fault unplug --fault-delay 0x10 --seed 18446744073709551615 --away 5 --verbose "
                           "--vcd x.vcd --vcd-pause 7 "
                           "-- sh --seed --");
    EXPECT_EQ(run.action, Arguments::Action::RUN);
    EXPECT_EQ(run.command, (Words{"sh", "--seed", "--"}));
    const HostOptions& host = run.host;
    EXPECT_EQ(
        std::tuple(host.adapters.size(), host.adapters[127].reportSize, host.adapters[127].serialNumber, host.verbose),
        std::tuple(128U, 1024U, "B-134", true));
    EXPECT_EQ(std::tuple(host.latency, host.faults.delay, host.away),
              std::tuple(milliseconds(60'000), milliseconds(16), milliseconds(5)));
    EXPECT_EQ(std::tuple(host.faults[Fault::DROP], host.faults[Fault::UNPLUG], host.faults[Fault::DELAY]),
              std::tuple(0.25, 1, 0));
    EXPECT_EQ(host.faults.seed, 18446744073709551615U);
    EXPECT_EQ(std::tuple(run.vcdFile, run.longestVcdPause), std::tuple("x.vcd", milliseconds(7)));
    EXPECT_EQ(parse("run -- x").host.away, std::nullopt);

    EXPECT_EQ(parse("uhid --device /d").uhidDevice, "/d");
    const auto gadget = parse("gadget a b --udc-file c --udc-file d");
    EXPECT_EQ(std::pair(gadget.gadgetNodes, gadget.udcFiles), std::pair(Words{"a", "b"}, Words{"c", "d"}));
    EXPECT_EQ(parse("gadget a b").host.adapters[1].serialNumber, "TVX0000002");
}

TEST(CommandLine, EachTriggerIsARequest)
{
    const std::pair<std::string, Words> cases[]{
        {"ibi --adapter B-7 --target 1 0x0a 255", {R"({"target":1,"bytes":[10,255],"do":"ibi","adapter":"B-7"})"}},
        {"hot-join --device imu", {R"({"device":"imu","do":"hot_join"})"}},
        {"press power --for 100ms", {R"({"wire":"power","do":"press"})", R"({"wire":"power","do":"release"})"}},
        {"uart a\\r\\x41\\\\", {R"({"bytes":[97,13,65,92],"do":"uart"})"}},
        {"uart hex:0aFF", {R"({"bytes":[10,255],"do":"uart"})"}},
        {"fault drop:0.5", {R"({"fault":"drop","do":"fault","probability":0.5})"}},
        {"fault off", {R"({"do":"faults_off"})"}},
        {"fault nack:0.5 --device d", {R"({"fault":"nack","device":"d","do":"fault","probability":0.5})"}},
        {"fault stretch:5ms --device d", {R"({"fault":"stretch","device":"d","do":"fault","milliseconds":5.0})"}},
        {"reset d --hold", {R"({"device":"d","held":true,"do":"reset"})"}},
        {"stuck 1 --release", {R"({"port":1,"held":false,"do":"stuck"})"}},
        {"get flash 0x10 4097",
         {R"({"device":"flash","address":16,"count":4096,"do":"get"})",
          R"({"device":"flash","address":4112,"count":1,"do":"get"})"}},
        {"put flash 0 1 0x2", {R"({"device":"flash","address":0,"values":[1,2],"do":"put"})"}},
    };
    for (const auto& [line, requests] : cases) {
        EXPECT_EQ(parse("trigger " + line).requests, requests) << line;
    }
    EXPECT_EQ(parse("trigger press power --for 100ms").pause, milliseconds(100));
}

TEST(CommandLine, AMistakeGetsOneLineThatSaysWhatIsRight)
{
    const std::tuple<Words, const char*, const char*> cases[]{
        {{}, "run", "trigger"},
        {{"frobnicate"}, "frobnicate", "--help"},
        {{"run"}, "command", "--"},
        {{"run", "true"}, "true", "run --help"},
        {{"run", "--report-size", "63", "--", "true"}, "--report-size: '63'", "64 nor 1024"},
        {{"run", "--adapters", "0", "--", "true"}, "--adapters: '0'", "from 1 to 128"},
        {{"run", "--adapters", "many", "--", "true"}, "'many'", "from 1 to 128"},
        {{"run", "--latency", "-1", "--", "true"}, "--latency: '-1'", "from 0 to 60000"},
        {{"run", "--latency", "--", "true"}, "--latency", "MS"},
        {{"run", "--seed", "1", "--seed", "2", "--", "true"}, "--seed", "1"},
        {{"run", "--seed", "1x", "--", "true"}, "--seed: '1x'", "from 0 to"},
        {{"run", "--seed", "0x", "--", "true"}, "--seed: '0x'", "from 0 to"},
        {{"run", "--serial", "", "--", "true"}, "--serial: ''", "1 to 56"},
        {{"run", "--serial", std::string(57, 'A'), "--", "true"}, "--serial: 'AA", "1 to 56"},
        {{"run", "--serial", "A\377", "--", "true"}, "--serial: 'A", "UTF-8"},
        {{"run", "--serial", "A\nB", "--", "true"}, "--serial: 'A", "printable"},
        {{"run", "--fault", "fire", "--", "true"}, "--fault: 'fire'", "drop, truncate"},
        {{"run", "--fault", "drop:1.5", "--", "true"}, "--fault: '1.5'", "from 0 to 1"},
        {{"run", "--fault", "drop:nan", "--", "true"}, "--fault: 'nan'", "from 0 to 1"},
        {{"run", "--fault", "drop:", "--", "true"}, "--fault: ''", "drop:0.2"},
        {{"run", "--fault", "--", "true"}, "--fault", "NAME"},
        {{"run", "--connect", "p", "--seed", "2", "--", "true"}, "--seed", "tarvix-sim serve"},
        {{"serve", "--seed", "2"}, "--socket", "serve --help"},
        {{"uhid", "--", "true"}, "--", "uhid --help"},
        {{"gadget"}, "NODE", "gadget --help"},
        {{"gadget", "a", "b", "--udc-file", "x"}, "--udc-file", "one for each"},
        {{"trigger"}, "trigger", "hot-join"},
        {{"trigger", "ibi", "256"}, "'256'", "0 to 255"},
        {{"trigger", "ibi", "--target", "0", "--device", "imu"}, "--device", "--target"},
        {{"trigger", "uart", "hex:4"}, "'hex:4'", "hex:4f"},
        {{"trigger", "uart", "a\\q"}, "'a\\q'", "backslash"},
        {{"trigger", "fault", "fire"}, "'fire'", "drop, truncate"},
        {{"trigger", "press"}, "NAME", "required"},
    };
    for (const auto& [words, named, right] : cases) {
        testing::internal::CaptureStderr();
        const auto arguments = parse(words);
        const auto output = testing::internal::GetCapturedStderr();
        EXPECT_EQ(arguments.action, Arguments::Action::NOTHING) << output;
        EXPECT_EQ(arguments.status, 2) << output;
        EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
        EXPECT_NE(output.find(named), std::string::npos) << output;
        EXPECT_NE(output.find(right), std::string::npos) << output;
    }
}

TEST(Utf8, TakesWellFormedTextOnly)
{
    EXPECT_EQ(fromUtf8("A\u00fc\u20ac\U0001F50C"), L"A\u00fc\u20ac\U0001F50C");
    for (const char* text : {"\x80", "\xC3", "\xC3(", "\xC0\xAF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                             "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFF"}) {
        EXPECT_EQ(fromUtf8(text), std::nullopt) << testing::PrintToString(text);
    }
}

} // namespace
