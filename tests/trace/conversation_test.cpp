// Records in, lines out: what a trace shows of good and of faulty conversations.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <sstream>

#include <gtest/gtest.h>

#include "support/bytes.hpp"
#include "trace/lines/lines.hpp"
#include "transport/report_segmenter.hpp"

namespace trace {

namespace {

using Frame = std::vector<std::uint8_t>;

// A capture in the making, and the lines that its records become.
class Bus {
public:
    explicit Bus(std::size_t reportSize = 64, LineWriter::Options options = {})
        : reportSize_(reportSize),
          lines_(Table::builtIn(), options),
          conversation_(Table::builtIn(), {100 * MILLISECOND, options.reports}, [this](const Event& event) {
              Described described;
              describe(Table::builtIn(), event, described);
              lines_.appendText(text_, described);
          })
    {
    }

    std::uint8_t device = 5;
    std::uint64_t process = 0;

    Bus& pass(std::int64_t milliseconds)
    {
        now_ += milliseconds * MILLISECOND;
        return *this;
    }
    // The frame in hexadecimal.
    Bus& out(const std::string& frame) { return segments(frame, SUBMITTED, REPORT_OUT); }
    Bus& in(const std::string& frame) { return segments(frame, COMPLETED, REPORT_IN); }
    // One report, padded.
    Bus& outReport(const std::string& report) { return take(SUBMITTED, REPORT_OUT, padded(hex(report), reportSize_)); }
    Bus& inReport(const std::string& report) { return take(COMPLETED, REPORT_IN, padded(hex(report), reportSize_)); }
    Bus& note(const std::string& json)
    {
        return control({NOTE_TYPE, NOTE_REQUEST}, SUBMITTED, Frame(json.begin(), json.end()));
    }
    Bus& control(Frame setup, std::uint8_t event, const Frame& data)
    {
        setup.resize(sizeof UsbHeader::setup);
        Record record = recordOf(event, 0, data);
        record.header.transfer = CONTROL;
        std::memcpy(record.header.setup, setup.data(), setup.size());
        conversation_.take(record);
        return *this;
    }
    Bus& take(std::uint8_t event, std::uint8_t endpoint, const Frame& data, std::int32_t status = 0, bool cut = false)
    {
        Record record = recordOf(event, endpoint, data);
        record.cut = cut;
        record.header.status = status;
        conversation_.take(record);
        return *this;
    }

    // The lines so far, without their times and what is blank; each once.
    std::vector<std::string> lines()
    {
        std::istringstream text(std::exchange(text_, {}));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            const bool isEvent = line[0] != ' ';
            line.erase(0, line.find_first_not_of(' ', isEvent ? std::string("00:00:00.000000").size() : 0));
            lines.push_back(line);
        }
        return lines;
    }
    std::vector<std::string> end()
    {
        conversation_.end();
        return lines();
    }
    bool hasAdapters() const { return conversation_.hasAdapters(); }

private:
    Record recordOf(std::uint8_t event, std::uint8_t endpoint, const Frame& data)
    {
        Record record;
        record.time = record.moment = now_;
        record.data = data;
        record.header.event = event;
        record.header.transfer = INTERRUPT;
        record.header.endpoint = endpoint;
        record.header.bus = 1;
        record.header.device = device;
        record.header.id = process << 32 | 7;
        return record;
    }

    Bus& segments(const std::string& text, std::uint8_t event, std::uint8_t endpoint)
    {
        const Frame frame = hex(text);
        const ReportSegmenter segmenter(reportSize_);
        for (std::size_t i = 0; i < segmenter.segmentCount(frame.size()); ++i) {
            Frame report(reportSize_);
            segmenter.cut(frame, i, report);
            take(event, endpoint, report);
            pass(1);
        }
        return *this;
    }

    const std::size_t reportSize_;
    std::int64_t now_ = 0;
    std::string text_;
    LineWriter lines_;
    Conversation conversation_;
};

using Lines = std::vector<std::string>;

std::string inLowerCase(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return text;
}

// The level of pin 6, as request N.
std::string readPin(int id)
{
    return hexOf({static_cast<std::uint8_t>(id), 0}) + " 03 14 06";
}
std::string level(int id)
{
    return hexOf({static_cast<std::uint8_t>(id), 0}) + " 03 14 00 00 01";
}

TEST(Conversation, FindsTheResponseToEachRequest)
{
    Bus bus;
    bus.out(readPin(1)).pass(4).in(level(1));
    bus.out("02 00 01 04"); // reset: no response
    EXPECT_EQ(bus.lines(), (Lines{"5000us  gpio digital read pin 6 -> high", "reset device"}));

    // In flight, with the same number for different commands, and notifications in between.
    bus.out(readPin(3)).out("03 00 05 14 02").out(readPin(4)).in(level(3)).in("00 00 81 14 00 00 07");
    bus.in("03 00 05 14 05 01").in(level(4));
    EXPECT_EQ(bus.lines(),
              (Lines{"3000us  gpio digital read pin 6 -> high", "notification: gpio interrupt pin 7",
                     "4000us  gpio disable interrupt pin 2 -> BAD_PIN", "4000us  gpio digital read pin 6 -> high"}));
    EXPECT_EQ(bus.end(), Lines());
}

TEST(Conversation, JoinsReportsOfBothSizes)
{
    for (const std::size_t size : {std::size_t{64}, std::size_t{1024}}) {
        Bus bus(size, {true, true});
        const std::string data = hexOf(counting(70));
        bus.out("01 00 05 10 46 00 " + data).in("01 00 05 10 00 00");
        Lines lines = bus.end();
        ASSERT_EQ(lines.size(), size == 64 ? 6U : 5U);
        EXPECT_NE(lines[0].find("uart send message 01 02 03"), std::string::npos) << lines[0];
        EXPECT_NE(lines[0].find("... (70 bytes) \""), std::string::npos) << lines[0];
        EXPECT_EQ(lines[1], "> 01 00 05 10 46 00 " + inLowerCase(data));
        EXPECT_EQ(lines[2].substr(0, 2) + lines[2].substr(19, 8), size == 64 ? "> f9 00 01" : "> 33 01 01");
    }
}

TEST(Conversation, TellsWhatWasGivenUpAndWhatCameLate)
{
    const std::string asked = "gpio digital read pin 6 -> no response";
    const struct {
        const char* what;
        void (*talk)(Bus& bus);
        Lines expected;
    } CASES[]{
        {"at the end", [](Bus& bus) { bus.out(readPin(1)).pass(9999); }, {asked}},
        {"after a response to a later request",
         [](Bus& bus) { bus.out(readPin(1)).out(readPin(2)).in(level(2)).in(level(1)); },
         {asked, "1000us  gpio digital read pin 6 -> high", "3000us  gpio digital read pin 6 -> high (late)"}},
        {"after a pause and a further request",
         [](Bus& bus) { bus.out(readPin(1)).pass(150).out(readPin(2)).in(level(1)).in(level(2)); },
         {asked, "152.0ms  gpio digital read pin 6 -> high (late)", "2000us  gpio digital read pin 6 -> high"}},
        {"not while others are answered",
         [](Bus& bus) {
             bus.out(readPin(1))
                 .out(readPin(2))
                 .pass(90)
                 .in(level(1))
                 .pass(90)
                 .out(readPin(3))
                 .in(level(2))
                 .in(level(3));
         },
         {"92.0ms  gpio digital read pin 6 -> high", "183.0ms  gpio digital read pin 6 -> high",
          "2000us  gpio digital read pin 6 -> high"}},
        {"however slow when nobody asked for more",
         [](Bus& bus) { bus.out(readPin(1)).pass(11'000).in(level(1)); },
         {"11.0s  gpio digital read pin 6 -> high"}},
        {"nor is there a request",
         [](Bus& bus) { bus.out(readPin(1)).in("01 00 04 14 00 00").in(level(1)).in(level(1)); },
         {"gpio configure interrupt -> SUCCESS (no request 1 is open)", "2000us  gpio digital read pin 6 -> high",
          "gpio digital read -> high (no request 1 is open)"}},
    };
    for (const auto& one : CASES) {
        Bus bus;
        one.talk(bus);
        EXPECT_EQ(bus.end(), one.expected) << one.what;
    }
}

TEST(Conversation, MarksWhatIsTorn)
{
    const std::string full = hexOf(counting(62));
    const std::string shown = hexOf(counting(32));
    const auto torn = [](const char* what, const std::string& bytes) {
        return std::string("torn ") + what + inLowerCase(bytes);
    };
    Bus bus;
    bus.out(readPin(1));
    bus.inReport("F9 00 " + full).inReport("F8 00 " + full).in(level(1)); // no end
    EXPECT_EQ(bus.lines(),
              (Lines{torn("response of 124 bytes: ", shown) + " ...", "1000us  gpio digital read pin 6 -> high"}));
    bus.inReport("F8 00 " + full).inReport("0A 00 A1 A2"); // no beginning
    EXPECT_EQ(bus.lines(), (Lines{torn("response of 124 bytes: ", shown) + " ..."}));
    bus.outReport("09 00 A1 A2");
    bus.take(COMPLETED, REPORT_IN, padded(hex("1F 00 " + level(1)), 40), 0, true); // the capture has not all of it
    EXPECT_EQ(bus.end(), (Lines{torn("response of 7 bytes: ", level(1)), torn("request of 2 bytes: ", "A1 A2")}));
}

TEST(Conversation, KnowsAnAdapterByWhatTheCaptureHas)
{
    // By nothing but what it says; keyboards, other devices of this size and padding that is none are not adapters.
    for (const auto& [report, ours] :
         std::initializer_list<std::pair<Frame, bool>>{{padded(hex("17 00 01 00 03 14 06"), 64), true},
                                                       {padded(hex("1F 00 00 00 81 14 00 00 07"), 1024), true},
                                                       {padded(hex("17 00 01 00 03 14 06"), 8), false},
                                                       {padded(hex("17 00 01 00 03 77 06"), 64), false},
                                                       {padded(hex("13 00 01 00 03 14 06"), 64), false},
                                                       {padded(hex("16 00 01 00 03 14 06"), 64), false},
                                                       {padded(hex("17 80 01 00 03 14 06"), 64), false}}) {
        Bus bus;
        bus.take(SUBMITTED, REPORT_OUT, report);
        EXPECT_EQ(bus.hasAdapters(), ours) << hexOf(report);
    }

    // By its descriptors.
    Bus bus;
    const Frame serial = hex("0A 03 54 00 56 00 58 00 39 00");
    bus.control(hex("80 06 00 01 00 00 12 00"), SUBMITTED, {});
    bus.control({}, COMPLETED, hex("12 01 00 02 00 00 00 40 C9 1F FC 82 00 01 01 02 03 01"));
    bus.control(hex("80 06 03 03 09 04 FF 00"), SUBMITTED, {}).control({}, COMPLETED, serial);
    EXPECT_TRUE(bus.hasAdapters());
    bus.device = 6;
    bus.control(hex("80 06 00 01 00 00 12 00"), SUBMITTED, {});
    bus.control({}, COMPLETED, hex("12 01 00 02 00 00 00 40 6D 04 FC 82 00 01 01 02 03 01"));
    bus.out(readPin(1)).in(level(1));
    EXPECT_EQ(bus.lines(), Lines()) << "another vendor's";
    bus.device = 7;
    bus.out(readPin(2)).in(level(2));
    bus.device = 5; // one without an endpoint for output reports
    bus.control(hex("21 09 00 02 00 00 40 00"), SUBMITTED, padded(hex("17 00 01 00 03 14 06"), 64)).in(level(1));
    EXPECT_EQ(bus.end(),
              (Lines{"1000us  gpio digital read pin 6 -> high", "0us  [TVX9] gpio digital read pin 6 -> high"}));
}

TEST(Conversation, TellsWhatProgramsDoAndWhatFails)
{
    Bus bus;
    bus.note(R"({"note":"open","path":"/dev/hidraw3","serial":"TVX\u001b1","program":"python3","process":4711})");
    bus.out(readPin(1)).note(R"({"note":"close","path":"/dev/hidraw3","program":"python3","process":4711})");
    bus.note(R"({"note":"error","path":"/dev/hidraw3","doing":"open","error":"Permission denied","process":7})");
    bus.note("no JSON").note("[1,2]").note(R"({"note":5,"path":7})").note(R"({"note":"unheard-of"})");
    EXPECT_EQ(bus.end(), (Lines{"open /dev/hidraw3 by python3 (4711), serial number TVX.1",
                                "gpio digital read pin 6 -> no response", "close /dev/hidraw3 by python3 (4711)",
                                "open failed: Permission denied, /dev/hidraw3 by a program (7)"}));

    // The kernel's captures have no notes: an unplugged adapter fails in each of its transfers, and is told once.
    Bus kernel;
    kernel.out(readPin(1)).take(COMPLETED, REPORT_IN, {}, -ENOENT).take(COMPLETED, REPORT_OUT, {}, -ECONNRESET);
    kernel.take(COMPLETED, REPORT_IN, {}, -ESHUTDOWN).take(COMPLETED, REPORT_IN, {}, -ESHUTDOWN);
    EXPECT_EQ(kernel.end(), (Lines{"read failed: the adapter went away", "gpio digital read pin 6 -> no response"}));
}

// Two processes have the adapter open: each gets all that it sends, in pieces that may interleave.
TEST(Conversation, TellsWhoAskedAndDropsTheOthersCopy)
{
    Bus bus;
    const std::string first = "FD 00 01 00 03 14 00 00 01"; // goes on in the next report
    for (bus.process = 1; bus.process <= 2; ++bus.process) {
        bus.note(R"({"note":"open","path":"/p","process":7})");
    }
    bus.lines();
    bus.process = 1;
    bus.out(readPin(1)).out("02 00 05 14 02");
    bus.process = 2;
    bus.in(level(1)).inReport(first);
    bus.process = 1;
    bus.in(level(1)).in("02 00 05 14 00 00");
    bus.process = 2;
    bus.inReport("06 00 AA").in("02 00 05 14 00 00").in(level(9));
    EXPECT_EQ(bus.lines(),
              (Lines{"3000us  gpio digital read pin 6 -> high", "3000us  gpio disable interrupt pin 2 -> SUCCESS",
                     "gpio digital read -> high (no request 9 is open)"}));
    bus.process = 1;
    bus.out(readPin(3));
    bus.process = 2;
    bus.note(R"({"note":"close","path":"/p","process":7})");
    EXPECT_EQ(bus.lines(), Lines{"close /p by a program (7)"}) << "the other still waits";
}

} // namespace

} // namespace trace
