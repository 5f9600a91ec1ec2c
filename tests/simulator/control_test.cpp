// The hand on the bench, by its requests: what they change, what the answers hold, and what each mistake is told.
#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/byte_log.hpp"
#include "board/read_board.hpp"
#include "ports/shared/control.hpp"
#include "support/bytes.hpp"

namespace {

using namespace sim;

constexpr const char* BOARD = R"({"version": 1, "adapters": [{
    "serial": "B-1",
    "i2c": [{"devices": {"0x48": {"type": "temperature_sensor", "name": "room"}}}],
    "spi": [{"type": "nor_flash", "name": "flash"}],
    "gpio": {"wires": [{"name": "power", "pins": [0, 1], "pull": "up", "button": "low"}]},
    "i3c": {"targets": [{"name": "imu", "pid": "hex:7f fe 12 34 50 01", "bcr": "0x27", "dcr": 99}]}
}, {"serial": "B-2"}]})";

HostOptions onBoard()
{
    HostOptions options;
    options.adapters = parseBoard("board.json", BOARD);
    return options;
}

class Control : public testing::Test, public Cable {
protected:
    void plugIn() override {}
    void pullOut() override {}
    bool accepts() override { return true; }
    void carry(std::span<const std::uint8_t> report) override
    {
        received.push_back(hexOf(Bytes(report.begin(), report.begin() + 10)));
    }

    // The answer, or what is wrong.
    std::string ask(const std::string& request)
    {
        try {
            return control({&first, &second}, request);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    void SetUp() override
    {
        first.plugIn();
        second.plugIn();
    }

    void send(const std::string& frame)
    {
        Bytes report = hex("00 00 01 00") + hex(frame);
        report[0] = static_cast<std::uint8_t>((report.size() - 2) << 2 | 3);
        first.outputReport(report);
    }

    std::vector<std::string> received; // the first ten bytes of each report
    HostOptions options = onBoard();
    EventLoop loop;
    AdapterHost first{loop, options, {}, 0, *this};
    AdapterHost second{loop, options, {}, 1, *this};
};

TEST_F(Control, DoesWhatItIsAskedAndTellsTheAdapter)
{
    struct Step {
        std::string request;    // JSON; or a frame to the adapter, from its command on
        std::string answer{};   // of a request
        std::string received{}; // by the host: the first report's frame as far as it is compared
    };
    const Step steps[]{
        {"04 14 01 02"}, // pin 1 tells of both edges
        {R"({"do": "press", "wire": "power"})", "{}", "00 00 81 14 00 00 01"},
        {R"({"do": "press", "wire": "power"})", "{}"},
        {R"({"do": "release", "wire": "power"})", "{}", "00 00 81 14 00 00 01"},
        {R"({"do": "set", "wire": "pin0", "level": "low"})", "{}", "00 00 81 14 00 00 01"},
        {R"({"do": "set", "wire": "power", "level": "released"})", "{}", "00 00 81 14 00 00 01"},
        {R"({"do": "set", "wire": "pin5", "level": "high", "adapter": "1"})", "{}"},
        {R"({"do": "put", "device": "room", "address": "0x2", "values": [1, "0xffff"]})", "{}"},
        {R"({"do": "get", "device": "room", "address": 0, "count": 4})",
         R"({"values":[6016,0,1,65535],"cell_bytes":2})"},
        {R"({"do": "power_cycle", "device": "room"})", "{}"},
        {R"({"do": "get", "device": "room", "address": 3})", R"({"values":[20480],"cell_bytes":2})"},
        {"01 09 00 80 1A 06 00 00"},
        {R"({"do": "reset", "device": "room", "held": true})", "{}"},
        {"05 09 00 02 00 48 01 00 00 00 00 00", "01 03"}, // silent
        {R"({"do": "reset", "device": "room", "held": false})", "{}"},
        {R"({"do": "fault", "device": "room", "fault": "nack"})", "{}"},
        {"05 09 00 02 00 48 01 00 00 00 00 00", "01 03"},
        {R"({"do": "stuck", "port": 0})", "{}"},
        {R"({"do": "faults_off"})", "{}"},
        {R"({"do": "put", "device": "room", "address": 0, "values": ["0x1900"]})", "{}"},
        {"05 09 00 02 00 48 01 00 00 00 00 00", "00 00"},
        {R"({"do": "put", "device": "flash", "address": 1048575, "values": [7]})", "{}"},
        {R"({"do": "get", "device": "flash", "address": 1048574, "count": 2})", R"({"values":[255,7],"cell_bytes":1})"},
        {R"({"do": "uart", "bytes": [65]})", "nobody would hear it: the program has not initialised the UART"},
        {"02 10 07 00 00 03 00"},
        {R"({"do": "uart", "bytes": [65, 66]})", "{}", "00 00 81 10 00 00 02 00"},
        {"05 10 03 00 41 42 43"},
        {R"({"do": "uart_sent"})", R"({"bytes":[65,66,67],"lost":0})"},
        {R"({"do": "uart_sent"})", R"({"bytes":[],"lost":0})"},
        {R"({"do": "ibi", "device": "imu"})",
         "target 0 of adapter B-1 cannot interrupt now: no such target, no dynamic address, or interrupts disabled"},
        {"01 19 00 00 00 00"},
        {"04 19 00"},
        {"09 19 7E 00 00 07 00"},
        {R"({"do": "ibi", "device": "imu", "bytes": [9]})", "{}", "00 00 81 19 00 00 08 01"},
        {R"({"do": "fault", "fault": "drop"})", "{}"},
        {R"({"do": "ibi", "target": 0})", "{}"},
        {R"({"do": "faults_off"})", "{}"},
        {R"({"do": "ibi"})", "{}", "00 00 81 19 00 00 08 01"}, // never without its mandatory byte
        {R"({"do": "unplug", "adapter": "B-1"})", "{}"},
        {R"({"do": "press", "wire": "power"})", "{}"},
        {R"({"do": "unplug"})", "adapter B-1 is not plugged in: try 'tarvix-sim trigger replug'"},
        {R"({"do": "adapters"})",
         R"({"adapters":[{"serial":"B-1","product":"Tarvix Virtual Adapter","report_size":64,"present":false},)"
         R"({"serial":"B-2","product":"Tarvix Virtual Adapter","report_size":64,"present":true}]})"},
        {R"({"do": "replug"})", "{}"},
    };
    for (const Step& step : steps) {
        received.clear();
        if (step.request.front() != '{') {
            send(step.request);
            EXPECT_EQ(received.at(0).substr(18, step.answer.size()), step.answer) << step.request;
            continue;
        }
        EXPECT_EQ(ask(step.request), step.answer) << step.request;
        ASSERT_EQ(received.size(), step.received.empty() ? 0 : 1) << step.request;
        if (!received.empty()) {
            EXPECT_EQ(received[0].substr(6, step.received.size()), step.received) << step.request;
        }
    }
}

TEST_F(Control, ShowsWhatIsThere)
{
    send("04 14 01 02");
    send("02 0D 01 03 01 00 00 40 42 0F 00"); // refused: not initialised
    send("01 0D 01 03 01 00 00 40 42 0F 00");
    ask(R"({"do": "fault", "fault": "drop", "probability": 0.5})");
    ask(R"({"do": "fault", "device": "room", "fault": "nack", "probability": 0.5})");
    ask(R"({"do": "fault", "device": "room", "fault": "stretch", "milliseconds": 2.5})");
    ask(R"({"do": "stuck", "port": 0})");
    ask(R"({"do": "reset", "device": "room", "held": true})");
    ask(R"({"do": "press", "wire": "power"})");
    const std::string state = ask(R"({"do": "state"})");
    for (
        const std::string part : {
            R"("rails":{"shared":{"millivolts":3300,"regulator_millivolts":3300,"external":false},"i3c":{)",
            R"({"level":"low","function":"input","output":"low","interrupt":"both","wire":"power"},{"level":"low",)",
            R"({"name":"power","level":"low","pins":[0,1],"hand":"released","pressed":true},{"name":"pin2",)",
            R"("i2c":[{"initialised":false,"stuck":true},{"initialised":false,"stuck":false}],"spi":{"initialised":)"
            R"(true,"mode":3,"bits":16,)"
            R"("order":"lsb","select":0,"select_active":"low","frequency_hz":1000000},"uart":{"initialised":false},"i3c":{"initialised")",
            R"("faults":{"drop":0.5},)",
            R"({"name":"room","type":"temperature_sensor","place":"i2c0-0x48","cells":4,"cell_bytes":2,)"
            R"("in_reset":true,"state":{"pointer":0},"faults":{"nack":0.5,"stretch_ms":2.5}})",
        }) {
        EXPECT_NE(state.find(part), std::string::npos) << part << " is not in " << state;
    }
}

TEST_F(Control, SaysWhatIsWrongAndChangesNothing)
{
    const std::pair<std::string, std::string> cases[]{
        {"", "the request:1:1: not JSON: the file is empty"},
        {"[]", R"(\[\] is not an object.*)"},
        {"{}", "'do' is missing"},
        {std::string(30'000, '['), "the request: nested deeper than 64 levels"},
        {R"({"do": "pres"})", "do: 'pres' is none of .*; did you mean 'press'\\?"},
        {R"({"do": "state", "adapter": 2})", "no adapter '2': give a serial number, or an index from 0 to 1"},
        {R"({"do": "state", "adapter": "-1"})", "no adapter '-1': .*"},
        {R"({"do": "state", "adapter": {"a": 1}})", "no adapter '.*': .*"},
        {R"({"do": "fault", "device": "imu", "fault": "nack"})", "an I3C target has no faults"},
        {R"({"do": "fault", "device": "room", "fault": "drop"})", "fault: 'drop' is none of nack, flip, stretch"},
        {R"({"do": "fault", "device": "room", "fault": "stretch", "milliseconds": 1e9})",
         "milliseconds: .* 0 to 60000"},
        {R"({"do": "stuck", "port": 2})", "port: 2 is not a whole number from 0 to 1.*"},
        {R"({"do": "reset", "device": "room", "held": 1})", "held: 1 is neither true nor false"},
        {R"({"do": "press", "wire": "powr"})", "wire: 'powr' is none of .*; did you mean 'power'\\?"},
        {R"({"do": "press", "wire": "pin5"})", "wire 'pin5' has no button: .*"},
        {R"({"do": "press", "wire": "power", "fro": 1})", "unknown key 'fro'.*"},
        {R"({"do": "set", "wire": "power", "level": 1})", "level: 1 is not a text.*"},
        {R"({"do": "get", "device": "rom", "address": 0})", "device: 'rom' is none of .*; did you mean 'room'\\?"},
        {R"({"do": "get", "device": "room", "address": 4})", "address: 4 is not a whole number from 0 to 3.*"},
        {R"({"do": "get", "device": "room", "address": -1})", "address: -1 is not a whole number from 0 to 3.*"},
        {R"({"do": "get", "device": "room", "address": 3, "count": 2})", "count: 2 is not .* from 1 to 1.*"},
        {R"({"do": "get", "device": "flash", "address": 0, "count": 4097})", "count: 4097 is not .* 1 to 4096.*"},
        {R"({"do": "get", "device": "uart", "address": 0})", "device 'uart' has neither registers nor memory"},
        {R"({"do": "put", "device": "room", "address": 0, "values": [5, 65536]})", "values/1: 65536 is not .*"},
        {R"({"do": "put", "device": "room", "address": 3, "values": [5, 5]})", "values: 2 elements, not 1"},
        {R"({"do": "uart", "bytes": [256]})", "bytes/0: 256 is not a whole number from 0 to 255.*"},
        {R"({"do": "uart", "bytes": "file:/etc/passwd"})", "bytes: .* is not an array.*"},
        {R"({"do": "ibi", "device": "room"})", "device 'room' is no I3C target"},
        {R"({"do": "hot_join", "target": 1})", "target 1 of adapter B-1 cannot join now: .*"},
        {R"({"do": "fault", "fault": "dorp"})", "fault: 'dorp' is none of .*; did you mean 'drop'\\?"},
        {R"({"do": "fault", "fault": "drop", "probability": 1.5})", "probability: 1.5 is not .* from 0 to 1"},
    };
    const std::string before = ask(R"({"do": "state"})") + ask(R"({"do": "get", "device": "room", "address": 0})");
    for (const auto& [request, error] : cases) {
        const std::string answer = ask(request);
        EXPECT_TRUE(std::regex_match(answer, std::regex(error))) << request << ": " << answer;
    }
    EXPECT_EQ(ask(R"({"do": "state"})") + ask(R"({"do": "get", "device": "room", "address": 0})"), before);
}

TEST(ByteLog, KeepsTheLastBytesAndCountsTheOthers)
{
    ByteLog log;
    log.add(Bytes(ByteLog::KEPT - 1, 1));
    log.add(Bytes{2, 3});
    EXPECT_EQ(log.take().lost, 1U);
    log.add(Bytes(3, 1));
    log.add(Bytes(ByteLog::KEPT + 2, 2));
    const ByteLog::Contents kept = log.take();
    EXPECT_EQ(std::pair(kept.bytes, kept.lost), std::pair(Bytes(ByteLog::KEPT, 2), std::uint64_t{5}));
}

} // namespace
