// What the tool prints of bytes that others chose: replies decoded, dumps, foreign text, notifications.
#include <chrono>
#include <filesystem>
#include <string>
#include <tuple>
#include <utility>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "adapter/context.hpp"
#include "adapter/event_queue.hpp"
#include "adapter/holders.hpp"
#include "adapter/notifications.hpp"
#include "arguments/data.hpp"
#include "arguments/pattern.hpp"
#include "arguments/words.hpp"
#include "commands/gpio/edges.hpp"
#include "commands/i3c/codes.hpp"
#include "commands/permission.hpp"
#include "commands/polling.hpp"
#include "commands/uart/keys.hpp"
#include "common/terminal.hpp"
#include "console/chart.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"
#include "console/visible_text.hpp"

namespace tool {

namespace {

// What a code's reply says, field by field: as text and, where that differs, as a JSON value. Worked out by hand from
// the I3C standard's tables.
const std::pair<std::string, std::string> REPLIES[] = {
    {"GETMWL 1234", "max write length: 4660 bytes = 4660"},
    {"GETMRL 004010", "max read length: 64 bytes = 64; max ibi payload: 16 bytes = 16"},
    {"GETMRL ffff00", "max read length: 65535 bytes = 65535; max ibi payload: 0 = no limit = 0"},
    {"GETPID 04d2abcd7fed",
     "manufacturer id: 0x0269 = 617; type: vendor-fixed; part id: 0xabcd = 43981; instance id: 0x7 = 7; "
     "vendor bits: 0xfed = 4077"},
    {"GETPID 04d3abcd7fed", "manufacturer id: 0x0269 = 617; type: random; random value: 0xabcd7fed = 2882371565"},
    {"GETBCR 00", "bcr: 0x00 = 0; role: target; features: none = []"},
    {"GETBCR 58", "bcr: 0x58 = 88; role: controller-capable; "
                  R"(features: offline-capable, virtual targets = ["offline-capable","virtual targets"])"},
    {"GETBCR e6", "bcr: 0xe6 = 230; role: reserved 3; features: interrupts, interrupt payload, advanced capabilities"
                  R"( = ["interrupts","interrupt payload","advanced capabilities"])"},
    {"GETDCR 00", "dcr: 0x00 = 0; device: generic device"},
    {"GETDCR 40", "dcr: 0x40 = 64; device: see MIPI's list of device characteristics = null"},
    {"GETSTATUS a520",
     "pending interrupt: none = 0; protocol error: yes = true; activity state: 0 = 0; vendor byte: 0xa5 = 165"},
    {"GETSTATUS 00db",
     "pending interrupt: 11 = 11; protocol error: no = false; activity state: 3 = 3; vendor byte: 0x00 = 0"},
    {"GETMXDS 0423102701",
     R"(max write rate: 2 MHz; max read rate: 4 MHz; clock to data turnaround: at most 12 ns = "12 ns"; )"
     "max read turnaround: 75536 us = 75536"},
    {"GETMXDS 0d3a", "max write rate: reserved 5; max read rate: 6 MHz; clock to data turnaround: more than 12 ns"},
    {"GETMXDS 0028", "max write rate: 12.5 MHz; max read rate: 12.5 MHz; clock to data turnaround: reserved 5"},
    {"GETMXDS 0030", "max write rate: 12.5 MHz; max read rate: 12.5 MHz; clock to data turnaround: reserved 6"},
    {"GETCAPS 0a", R"(hdr modes: HDR-TSP, HDR-BT = ["HDR-TSP","HDR-BT"])"},
    {"GETCAPS 003218", "hdr modes: none = []; version: 1.2; group addresses: 3 or more = 3; "
                       R"(defining bytes: GETCAPS, GETSTATUS = ["GETCAPS","GETSTATUS"])"},
    {"GETXTIME 03821905",
     R"(supported modes: synchronous, asynchronous 0 = ["synchronous","asynchronous 0"]; )"
     R"(active modes: asynchronous 0 = ["asynchronous 0"]; overflow: yes = true; clock: 12.5 MHz = 12500000; )"
     "inaccuracy: 0.5 % = 0.5"},
    {"GETXTIME 00000000", "supported modes: none = []; active modes: none = []; overflow: no = false; "
                          "clock: about 32 kHz = 32000; inaccuracy: 0.0 % = 0.0"},
    {"RSTACT ff", "answer: 255 = 255"},
};

TEST(Replies, DecodedInTextAndJson)
{
    for (const auto& [reply, expected] : REPLIES) {
        const auto words = splitWords(reply);
        std::string fields;
        for (const Field& field : findCode(words[0]).decode(readData("reply", {"hex:" + words[1]}, 16))) {
            fields += (fields.empty() ? "" : "; ") + field.label + ": " + field.text;
            fields += field.value == field.text ? "" : " = " + field.value.dump();
        }
        EXPECT_EQ(fields, expected) << reply;
    }
    EXPECT_EQ(jsonKey("max ibi payload"), "max_ibi_payload");
}

TEST(Replies, EveryDecoderIsSafeWithTheShortestReplyThatReachesIt)
{
    for (const Code& code : codes()) {
        if (code.decode != nullptr) {
            ASSERT_GT(code.shortestReply, 0) << code.name;
            EXPECT_FALSE(code.decode(Bytes(code.shortestReply, 0xFF)).empty()) << code.name;
        }
    }
}

TEST(Codes, FoundInAnyCaseAndWrittenWithTheirArguments)
{
    EXPECT_EQ(usage(findCode("setmrl")), "SETMRL [@ADDR] LENGTH [PAYLOAD]");
    EXPECT_EQ(usage(findCode("SetXTime")), "SETXTIME [@ADDR] SUBCOMMAND [DATA...]");
    EXPECT_EQ(usage(findCode("GETPID")), "GETPID @ADDR");
}

TEST(Text, Hexdump)
{
    const Bytes bytes{0x1D, 0x1E, 0x1F, ' ', '!', '"', '#', '$', '%', '&', '\'', '(', ')', '*', '+', ',', '~', 0x7F};
    EXPECT_EQ(hexdump(bytes, 0xFFF8),
              "0000fff8  1d 1e 1f 20 21 22 23 24  25 26 27 28 29 2a 2b 2c  |... !\"#$%&'()*+,|\n"
              "00010008  7e 7f                                             |~.|\n");
    EXPECT_EQ(hexdump(bytes, 0, {0, 15, 17}),
              "00000000  XX 1e 1f 20 21 22 23 24  25 26 27 28 29 2a 2b XX  |X.. !\"#$%&'()*+X|\n"
              "00000010  7e XX                                             |~X|\n");
    EXPECT_EQ(hexdump({}, 0), "");
    EXPECT_EQ(toHexWords(Bytes{0x0A, 0xFF}), "0a ff");
}

TEST(UsbPort, IsTheDevicesOwnNotTheHubs)
{
    namespace fs = std::filesystem;
    const fs::path sysfs = fs::temp_directory_path() / fmt::format("tarvix-test-{}", getpid());
    const auto portOf = [&](const std::string& node, const std::string& device) {
        fs::create_directories(sysfs / device);
        fs::create_directories(sysfs / node);
        fs::create_symlink(sysfs / device, sysfs / node / "device");
        return usbPortOf("/dev/" + node, sysfs);
    };
    EXPECT_EQ(portOf("hidraw0", "0000:00:14.0/usb1/1-2/1-2.4/1-2.4:1.0/0003:82FC.0001"), "1-2.4");
    EXPECT_EQ(portOf("hidraw1", "0000:00:14.0/usb3/3-11/3-11:1.0/0003:82FC.0002"), "3-11");
    EXPECT_EQ(portOf("hidraw2", "virtual/misc/uhid/0003:82FC.0003"), "");
    EXPECT_EQ(usbPortOf("/tmp/run/hidraw0", sysfs), "") << "another hidraw0 than the machine's";
    EXPECT_EQ(usbPortOf("/dev/hidraw9", sysfs), "");
    fs::remove_all(sysfs);
}

TEST(Text, ForeignTextReachesNoTerminalRaw)
{
    const std::pair<const char*, const char*> cases[]{
        {"a\x1b[2Jb\r\n\x7f\t", "a.[2Jb...."},
        {"\u00a0\u00e4 ~\u0416\u4e2d\U0001F50C\u2030", "\u00a0\u00e4 ~\u0416\u4e2d\U0001F50C\u2030"},
        {"\xC2\x80|\u0085|\u009b|\u009f", ".|.|.|."},
        {"\u061c|\u200e|\u200f|\u202a|\u202e|\u2066|\u2069|\u2028", ".|.|.|.|.|.|.|."},
        // Not UTF-8: stray, cut, longer than needed, a surrogate.
        {"\x9b|\xe4|\xc2|\xe2\x82|\xf0\x9f\x94|\xff|", ".|.|.|..|...|.|"},
        {"\xc0\x9b|\xe0\x80\x9b|\xed\xa0\x80", "..|...|..."},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(terminal::printable(text), expected);
    }
}

TEST(Polling, ChartScrollsWithinTheTerminalAndTheRangeOfItsValues)
{
    Chart chart({"a", "b"});
    std::string drawn;
    for (const std::int64_t value : {0, 3300, 3310, 3305}) {
        drawn = chart.draw(std::vector<std::int64_t>{value, 7}, 43);
    }
    EXPECT_EQ(drawn, "\x1b[2A\ra              3305  (0 to 3310)      ▁███\x1b[K\n"
                     "\rb                 7  (7 to 7)         ▅▅▅▅\x1b[K\n");
    drawn = chart.draw(std::vector<std::int64_t>{3310, 7}, 43);
    EXPECT_EQ(drawn.substr(4, drawn.find("\x1b[K") - 4), "\ra              3310  (3300 to 3310)   ▁█▅█");
    EXPECT_EQ(chart.draw(std::vector<std::int64_t>{3310, 7}, 4), "\x1b[2A\ra  \x1b[K\n\rb  \x1b[K\n");
}

TEST(Polling, TicksKeepTheirBeatAndThoseThatWereMissedAreSkipped)
{
    const Deadline start(std::chrono::hours(1));
    using std::chrono::milliseconds;
    for (const auto& [now, tick] : {std::pair(0, 100), {99, 100}, {100, 200}, {101, 200}, {555, 600}}) {
        EXPECT_EQ(tickAfter(start, milliseconds(100), start + milliseconds(now)) - start, milliseconds(tick)) << now;
    }
}

TEST(Events, InTextAndJson)
{
    const std::chrono::system_clock::time_point time(std::chrono::microseconds(1'738'324'800'000'042));
    EXPECT_EQ(timeText(time), "2025-01-31T12:00:00.000042Z");
    Event event{.time = time,
                .kind = NotificationKind::I3C_HOT_JOIN,
                .complete = true,
                .address = 9,
                .pid = {1, 2, 3, 4, 5, 6},
                .bcr = 0x27,
                .dcr = 0x63};
    EXPECT_EQ(describe(event), "i3c-hot-join address=0x09 pid=010203040506 bcr=0x27 dcr=0x63");
    EXPECT_EQ(toJson(event).dump(), R"({"time":"2025-01-31T12:00:00.000042Z","event":"i3c-hot-join","address":9,)"
                                    R"("pid":"010203040506","bcr":39,"dcr":99})");
    event = {.time = time, .kind = NotificationKind::UART_RX, .complete = true, .data = {'h', 0x1B}};
    EXPECT_EQ(describe(event), "uart 68 1b  |h.|");
    event = {.time = time, .kind = NotificationKind::GPIO_INTERRUPT, .complete = false, .data = {0xFF, 0xFF, 0x09}};
    EXPECT_EQ(describe(event), "gpio frame=ffff09");
    EXPECT_EQ(toJson(event).dump(), R"({"time":"2025-01-31T12:00:00.000042Z","event":"gpio","frame":"ffff09"})");
}

TEST(Text, OfADeviceIsVisibleThoughItComesInPieces)
{
    // Each byte alone, and all at once.
    using namespace std::string_literals;
    const std::string text = "\u4e2d\x1b[m\r\n\t\b\a\u009b\u202e\xe2\x82|\xff\xed\xa0\x80\x7f\0\xf0\x9f"s;
    const std::string shown(
        "\u4e2d\\x1b[m\r\n\t\b\a\\xc2\\x9b\\xe2\\x80\\xae\\xe2\\x82|\\xff\\xed\\xa0\\x80\\x7f\\x00");
    VisibleText whole;
    EXPECT_EQ(whole.add(Bytes(text.begin(), text.end())), shown);
    EXPECT_EQ(whole.end() + whole.end(), "\\xf0\\x9f");
    VisibleText pieces;
    std::string added;
    for (const char c : text) {
        added += pieces.add(Bytes{static_cast<std::uint8_t>(c)});
    }
    EXPECT_EQ(added, shown);
}

TEST(Text, LineEndsThatComeInPieces)
{
    LineEndReader reader(ReceivedLineEnd::CRLF);
    const std::pair<Bytes, Bytes> pieces[]{
        {{'a', '\r'}, {'a'}}, {{'\n', '\r'}, {'\n'}}, {{'\r', '\r'}, {'\r', '\r'}}, {{'b', '\r'}, {'\r', 'b'}}};
    for (const auto& [piece, read] : pieces) {
        EXPECT_EQ(reader.add(piece), read);
    }
    EXPECT_EQ(reader.end(), Bytes{'\r'});
    EXPECT_EQ(reader.end(), Bytes{});
}

TEST(Text, IsFoundWhereverItIs)
{
    using namespace std::string_literals;
    const std::string much(10000, 'a');
    const std::tuple<std::string, std::string, std::string> cases[]{
        {"aab\\x00", much + "b\0c"s, "aab\0"s},
        {"/^b/", "b", "b"},
        {"/a?b/", much + "b", "ab"},
        {"/^a+b/", much + "b", ""},
        {"ab", "a b", ""},
        {"/[\\x80-\\xff]+/", "a\x80\xff", "\x80"},
        {"/", "a/", "/"},
        {"//", "a//", "//"},
        {"/a\\r?\\n/", "a\r\n", "a\r\n"},
    };
    for (const auto& [pattern, text, match] : cases) {
        Search search("--until", pattern);
        for (std::size_t i = 0; i < text.size() && !search.match(); i += 1 + text.size() / 100) {
            const auto piece = text.substr(i, 1 + text.size() / 100);
            search.add(Bytes(piece.begin(), piece.end()));
        }
        EXPECT_EQ(search.match().value_or(""), match) << pattern;
    }
    // Neither time nor stack is the device's to choose.
    Search search("--until", "/(a+)+b|(.|x)*y/");
    EXPECT_FALSE(search.add(Bytes(100000, 'a')));
}

// What is told of pins 2 and 3: rising, falling, or `-` when they move too fast. In `happens`, a digit is an edge of
// that pin, "=1" the level that a read finds, and a blank a rest.
std::string directions(std::string happens)
{
    const auto next = [&](std::optional<std::chrono::milliseconds> idleTimeout) -> std::optional<Event> {
        if (!idleTimeout && happens.starts_with(' ')) {
            happens.erase(0, 1);
        }
        if (happens.empty() || happens.front() < '0' || happens.front() > '9') {
            return std::nullopt;
        }
        Event edge{.time = {}, .kind = NotificationKind::GPIO_INTERRUPT, .complete = true};
        edge.pin = static_cast<std::uint8_t>(happens.front() - '0');
        happens.erase(0, 1);
        return edge;
    };
    const auto read = [&](unsigned) {
        const auto level = GpioLogicLevel(happens.at(1) - '0');
        happens.erase(0, 2);
        return level;
    };
    Edges edges({2, 3}, GpioTriggerType::BOTH_EDGES, next, read);
    std::string told;
    while (const auto event = edges.next({})) {
        told += fmt::format("{}{} ", event->pin, !event->level ? '-' : "fr"[static_cast<int>(*event->level)]);
    }
    return told;
}

TEST(Events, TheDirectionOfAnEdgeIsFoundThoughThePinMovesOn)
{
    const std::pair<std::string, std::string> cases[]{
        {"2=1 2=0 2=1", "2r 2f 2r "},  // read in time
        {"2=02=0 2=1", "2r 2f 2r "},   // the second edge was reported while the first was asked about
        {"2=02=12=1", "2r 2f 2r "},    // so was the third while the second was
        {"2=0 2=1", "2f 2r "},         // an edge that was not reported spoils none after it
        {"2=03=0=1 3=0", "2f 3r 3f "}, // both pins
        {"2=02=02=02=02=02=02=02=02 2=1", "2- 2- 2- 2- 2- 2- 2- 2- 2- 2r "},
    };
    for (const auto& [happens, told] : cases) {
        EXPECT_EQ(directions(happens), told) << happens;
    }
}

TEST(Events, BeyondTheQueueAreLostAndCounted)
{
    EventQueue queue(3 * (sizeof(Event) + 100));
    for (std::uint8_t pin = 0; pin < 5; ++pin) {
        queue.put({.time = {}, .pin = pin, .data = Bytes(100)});
    }
    EXPECT_EQ(queue.takeLost(), 2U);
    EXPECT_EQ(queue.takeLost(), 0U);
    EXPECT_EQ(queue.take()->pin, 0);
    queue.put({.time = {}, .pin = 5});
    for (const int pin : {1, 2, 5}) {
        EXPECT_EQ(queue.take()->pin, pin);
    }
    EXPECT_FALSE(queue.take());
}

TEST(Statuses, EachEndsTheRunWithItsExitStatusItsNameAndARemedy)
{
    const std::tuple<StatusCode, ExitStatus, std::string> cases[]{
        {StatusCode::NO_RESPONSE, ExitStatus::NO_ANSWER, "NO_RESPONSE (0x2000); no answer within 2000 ms"},
        {StatusCode::NOT_CONNECTED, ExitStatus::ADAPTER_LOST, "NOT_CONNECTED (0x4000); the connection to the adapter"},
        {StatusCode::INVALID_ARGUMENT, ExitStatus::USAGE, "INVALID_ARGUMENT (0x8000)"},
        {StatusCode::UNEXPECTED_RESPONSE, ExitStatus::REFUSED, "UNEXPECTED_RESPONSE (0x6000); the adapter sent an inv"},
        {StatusCode::RESPONSE_TOO_SHORT, ExitStatus::REFUSED, "RESPONSE_TOO_SHORT (0xA000); the adapter sent an inv"},
        {StatusCode{0x7777}, ExitStatus::REFUSED, "DEVICE_STATUS (0x7777); the adapter refused the command: check"},
    };
    Context context({});
    EXPECT_NO_THROW(context.check(StatusCode::SUCCESS, "reading"));
    for (const auto& [status, exitStatus, text] : cases) {
        try {
            context.check(status, "reading");
            ADD_FAILURE() << text;
        } catch (const CommandFailed& failed) {
            EXPECT_EQ(failed.exitStatus(), exitStatus) << text;
            EXPECT_EQ((failed.what() + ("; " + failed.advice())).substr(0, 9 + text.size()), "reading: " + text);
        }
    }
}

// Everybody gets here whose adapter works for root only.
TEST(Permissions, AdviceIsWhatTheUserLacks)
{
    const std::pair<NodeAccess, std::string> table[]{
        {{"ann", "", false, "", false, true}, "install the udev rule"},
        {{"ann", "", false, "/etc/r", false, true}, "replace /etc/r: it has no group"},
        {{"ann", "", false, "/r", true, false},
         "sudo groupadd --system plugdev && sudo gpasswd -a ann plugdev && sudo ud"},
        {{"ann", "", false, "/r", true, true}, "replug it, or sudo udevadm control --reload && sudo udevadm trigger"},
        {{"ann", "lab", false, "/r", true, true}, "and log in again: sudo gpasswd -a ann lab"},
        {{"ann", "lab", true, "/r", true, true}, "log in again: ann is in the group lab now"},
    };
    for (const auto& [access, text] : table) {
        EXPECT_NE(permissionAdvice(access).find(text), std::string::npos) << text << '\n' << permissionAdvice(access);
    }
}

} // namespace

} // namespace tool
