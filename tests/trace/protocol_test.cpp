// The table of every command against the library, the virtual adapter and the header, whose encoders and decoders are
// written by hand.
#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "commands.hpp"
#include "golden/golden.hpp"
#include "support/bench.hpp"
#include "trace/protocol/text.hpp"
#include "transport/device_catalogue.hpp"
#include "virtual_adapter.hpp"

namespace trace {

namespace {

using golden::Row;
using Frame = std::vector<std::uint8_t>;

const Table& table()
{
    return Table::builtIn();
}

std::string textOf(const std::string& path)
{
    std::ifstream file(TARVIX_SOURCE_DIR "/" + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::smatch> matches(const std::string& text, const char* expression)
{
    const std::regex regex(expression);
    return {std::sregex_iterator(text.begin(), text.end(), regex), std::sregex_iterator()};
}

using Names = std::set<std::pair<unsigned long, std::string>>;

std::string lowerCase(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return text;
}

TEST(Table, HasTheCommandsNotificationsStatusesAndDevicesOfTheLibraryAndTheVirtualAdapter)
{
    Names known, listed;
    for (const CommandInfo& command : COMMANDS) {
        known.emplace(static_cast<unsigned>(command.code), lowerCase(std::string(command.name)));
    }
    for (const Command& command : table().commands()) {
        listed.emplace(command.code, command.common.name);
        EXPECT_TRUE(std::ranges::count(table().families(), command.family)) << command.family;
    }
    EXPECT_EQ(listed, known);

    std::vector<NotificationCode> notifications;
    for (const Notification& notification : table().notifications()) {
        notifications.push_back(NotificationCode{notification.code});
    }
    EXPECT_EQ(notifications, (std::vector{NotificationCode::UART_RX, NotificationCode::GPIO_INTERRUPT,
                                          NotificationCode::I3C_IBI, NotificationCode::I3C_HOT_JOIN}));

    known.clear(), listed.clear();
    const std::string statuses = textOf("simulator/model/device_status.hpp");
    for (const auto& match : matches(statuses, "\n    (\\w+) = (0x\\w+),")) {
        known.emplace(std::stoul(match[2], nullptr, 16), match[1]);
    }
    listed.insert(table().statuses().begin(), table().statuses().end());
    EXPECT_EQ(listed, known);

    ASSERT_EQ(table().devices().size(), DEVICE_CATALOGUE.size());
    for (std::size_t i = 0; i < DEVICE_CATALOGUE.size(); ++i) {
        const Device& device = table().devices()[i];
        EXPECT_EQ(
            std::tie(device.vendorId, device.productId, device.reportSize),
            std::tie(DEVICE_CATALOGUE[i].vendorId, DEVICE_CATALOGUE[i].productId, DEVICE_CATALOGUE[i].reportSize));
    }
}

// By enumeration: numbers and names.
std::map<std::string, Names> enumerationsOfTheHeader()
{
    std::map<std::string, Names> all;
    const std::string header = textOf("include/tarvixsdk/types.h");
    for (const auto& match : matches(header, "TARVIX_MEMBER\\((\\w+), (\\w+)\\) = (\\w+)")) {
        all[match[1]].emplace(std::stoul(match[3], nullptr, 0), match[2]);
    }
    return all;
}

TEST(Table, NamesValuesAsTheHeaderDoes)
{
    auto header = enumerationsOfTheHeader();
    for (const auto& [name, values] : table().enumerations()) {
        Names names;
        for (const Named& value : values) {
            names.emplace(value.value, value.name);
        }
        EXPECT_EQ(names, header[name]) << name;
    }
    for (const auto& [code, name] : header.at("CCC")) {
        Decoded decoded;
        const Frame frame{1, 0, 0x09, 0x19, 0x30, 0, 0, static_cast<std::uint8_t>(code), 0};
        const std::string shortName = std::regex_replace(name, std::regex("_(BROADCAST|DIRECT)$"), "");
        EXPECT_EQ(decodeRequest(table(), frame, decoded).form->name, "i3c ccc " + shortName);
    }
}

// "targetAddress" of a method is the field "address".
std::string fieldOf(const std::string& parameter)
{
    static const std::map<std::string, std::string> OTHERS{
        {"targetAddress", "address"}, {"staticAddress", "address"}, {"registerAddress", "register"},
        {"pinNumber", "pin"},         {"triggerType", "trigger"},   {"logicLevel", "level"},
        {"message", "data"},          {"transferLength", "length"}};
    if (const auto other = OTHERS.find(parameter); other != OTHERS.end()) {
        return other->second;
    }
    return lowerCase(std::regex_replace(parameter, std::regex("([A-Z])"), "_$1"));
}

// The fields that a method's parameters are sent in, behind the transaction id.
std::vector<std::string> parametersOf(const std::string& method)
{
    static const std::string HEADER = textOf("include/tarvixsdk/async_sdk.hpp");
    std::smatch declaration;
    std::vector<std::string> fields;
    if (std::regex_search(HEADER, declaration, std::regex("StatusCode " + method + "\\(([^)]*)\\)"))) {
        const std::string parameters = declaration[1];
        for (const auto& match : matches(parameters, "(\\w+)(?=,|$)")) {
            fields.push_back(fieldOf(match[1]));
        }
        fields.erase(fields.begin());
    }
    return fields;
}

bool says(const Value* value, const golden::Argument& argument)
{
    if (value == nullptr) { // an optional field that was not sent
        return argument.number == 0 && argument.bytes.empty();
    }
    const Field& field = *value->field;
    if (field.type == Type::BYTES || field.type == Type::RECORDS) {
        Frame bytes(value->bytes.begin(), value->bytes.end());
        if (field.reversed) {
            std::ranges::reverse(bytes);
        }
        return bytes == argument.bytes;
    }
    const unsigned bits = field.type == Type::U8 ? std::min(field.lastBit, 7U) - field.firstBit + 1 : 32;
    return value->number == (argument.number & ((1ULL << bits) - 1));
}

// What the calls say and what the table reads from the bytes written by hand.
TEST(Table, ReadsTheArgumentsOfEveryMethodFromItsFrame)
{
    for (const Row& row : golden::rowsWith(&Row::send)) {
        if (row.malformed || row.request == "09 19 30 9B 01 8E 00") { // the latter spills from field to field
            continue;
        }
        SCOPED_TRACE(row.name + ": " + row.request);
        const Frame frame = hex("02 01 " + row.request);
        Decoded decoded;
        const Meaning meaning = decodeRequest(table(), frame, decoded);
        ASSERT_TRUE(meaning.known());
        EXPECT_TRUE(std::ranges::count(meaning.form->methods, row.name) ||
                    std::ranges::count(meaning.command->common.methods, row.name));
        EXPECT_TRUE(decoded.missing == 0 && decoded.extra.empty() && !decoded.disagrees);
        const std::vector<std::string> fields = parametersOf(row.name);
        const std::vector<golden::Argument> arguments = row.sends(0x0102);
        ASSERT_EQ(fields.size(), arguments.size());
        for (std::size_t i = 0; i < fields.size(); ++i) {
            EXPECT_TRUE(says(findValue(decoded.values, fields[i]), arguments[i])) << fields[i];
        }
        for (std::size_t size = 0; size < frame.size(); ++size) {
            const Decoded whole = decoded;
            Decoded shorter;
            decodeRequest(table(), Bytes(frame).first(size), shorter);
            EXPECT_TRUE(shorter.missing != 0 || shorter.disagrees || size < REQUEST_HEAD ||
                        shorter.values.size() < whole.values.size() ||
                        shorter.values.back().bytes.size() < whole.values.back().bytes.size())
                << size << " bytes of it";
        }
    }
}

// As hexadecimal text: the integers of an answer that are not counts, big end first, or its bytes.
std::string answered(const Values& values, bool bytes)
{
    Frame all;
    for (const Value& value : values) {
        const bool list = !value.bytes.empty() || value.field->count;
        if (list == bytes && !value.field->hidden) {
            const int width = value.field->type == Type::U8 ? 1 : 2;
            for (int place = list ? 0 : width; place > 0; --place) {
                all.push_back(static_cast<std::uint8_t>(value.number >> 8 * (place - 1)));
            }
            all.insert(all.end(), value.bytes.begin(), value.bytes.end());
        }
    }
    return hexOf(all);
}

bool oneBeginsTheOther(const std::string& one, const std::string& other)
{
    return one.starts_with(other) || other.starts_with(one);
}

// The library fills what a plain session misses with zeros; some methods deliver a part of the answer, or say more.
TEST(Table, ReadsFromEveryAnswerWhatTheLibraryDelivers)
{
    int answers = 0;
    for (const Row& row : golden::rowsWith(&Row::block)) {
        if (row.answer.empty() || row.name == "getDeviceInfo" || row.name == "i2cScanBus" || row.malformed) {
            continue;
        }
        SCOPED_TRACE(row.name + ": " + row.answer);
        const Frame request = hex("02 01 " + row.request);
        const Frame response = hex("02 01 " + row.request.substr(0, 5) + " 00 00 " + row.answer);
        Decoded asked, decoded;
        decodeResponse(decodeRequest(table(), request, asked), response, &asked, decoded);
        const std::string data = row.data == "-" ? "" : row.data;
        EXPECT_TRUE(oneBeginsTheOther(answered(decoded.values, true), data)) << answered(decoded.values, true);
        const std::string numbers = answered(decoded.values, false);
        EXPECT_TRUE(oneBeginsTheOther(numbers, row.values) || numbers.find(row.values) != std::string::npos) << numbers;
        answers += data.empty() && row.values.empty() ? 0 : 1;
    }
    EXPECT_GT(answers, 25);
}

// clang-format off
constexpr const char* BRING_UP[]{
    "01 09 01 80 1A 06 00 00", "01 09 00 80 1A 06 00 00", "02 09 00 80 1A 06 00 00", "06 09 00 00",
    "05 09 00 04 00 48 01 00 00 00 00 00", "04 09 00 01 00 50 01 10 00 00 00 00 A5",
    "01 0D 00 00 00 00 00 40 42 0F 00", "02 0D 00 00 00 00 00 40 42 0F 00", "04 0D 04 00 04 00 9F 00 00 00",
    "02 10 07 00 00 03 00", "03 10 07 00 00 03 00", "05 10 03 00 41 42 43", "01 10", "04 04 E4 0C", "05 04 E4 0C 00",
    "07 04 01", "09 04", "0A 04 00", "0B 04 00", "02 08 00 01", "01 14 05 01 00", "02 14 05 01", "03 14 05",
    "04 14 05 02", "05 14 05", "01 19 00 00 01 01", "02 19 00 00 01 01", "04 19 00", "09 19 7E 00 00 07 00", "06 19",
    "07 19 08 A5", "08 19 08 01 00 01 00 00 00 00 02 00", "08 19 08 00 00 01 00 00 00 00 01 00 55",
    "08 19 08 03 90 00 02 00", "09 19 08 01 02 8B 00", "09 19 08 01 03 8C 00", "09 19 08 01 06 8D 00",
    "09 19 08 01 02 90 00", "09 19 7E 10 01 00 0B", "0A 19 00", "0A 19 01", "05 19",
};
// clang-format on

// The bench, brought up, answers every command that it can.
TEST(Table, ReadsEveryAnswerOfTheVirtualAdapter)
{
    StillWorld world;
    std::vector<Frame> answers;
    sim::VirtualAdapter adapter(sim::defaultBoard().front(), world,
                                [&](const sim::Frame& frame) { answers.push_back(frame); });
    std::set<std::string> succeeded;
    const auto ask = [&](const std::string& text) {
        SCOPED_TRACE(text);
        const Frame request = hex("02 01 " + text);
        answers.clear();
        adapter.request(request);
        Decoded asked, decoded;
        const Meaning meaning = decodeRequest(table(), request, asked);
        for (const Frame& answer : answers) {
            if (answer[0] == 0) {
                EXPECT_NE(decodeNotification(table(), answer, decoded), nullptr);
            } else {
                decodeResponse(meaning, answer, &asked, decoded);
                succeeded.insert(headOf(answer).status == 0 ? meaning.command->common.name : "");
                EXPECT_NE(table().statusName(headOf(answer).status), "");
            }
            EXPECT_TRUE(decoded.missing == 0 && decoded.extra.empty()) << hexOf(answer);
        }
    };
    for (const char* const request : BRING_UP) {
        ask(request);
    }
    std::set<std::string> never;
    for (const Command& command : table().commands()) {
        if (!succeeded.count(command.common.name)) {
            never.insert(command.common.name);
        }
    }
    EXPECT_EQ(never, (std::set<std::string>{"reset device", "enter boot mode"})) << "they get no answer";
}

struct Line {
    const char* request;
    const char* response; // behind id and code; null for none
    const char* text;
    const char* fields; // of the request
    const char* answer; // fields of the response
};

// By hand, one for each family and each shape of a field.
const Line LINES[]{
    {"07 04 03", "00 00 04 41 42 0A", R"(get usb string 3 -> "AB\n")", R"({"index":3})", R"({"string":"AB\n"})"},
    {"09 04", "00 00 E4 0C B0 04 00 00", "get analog measurements -> shared 3300 mV i3c 1200 mV regulator 0 mV", "{}",
     R"({"shared":3300,"i3c_pins":1200,"i3c_regulator":0})"},
    {"01 04", nullptr, "reset device", "{}", nullptr},
    {"0B 04 01", "00 00", "use external shared rail on -> SUCCESS", R"({"use_external":true})", "{}"},
    {"01 09 01 80 1A 06 00 00", "00 00", "i2c controller init bus 1 400 kHz -> SUCCESS",
     R"({"bus":1,"frequency":400000,"option":0})", "{}"},
    {"05 09 00 02 00 48 01 00 00 00 00 00", "00 00 00 02 00 17 80", "i2c read bus 0 0x48 reg 00 len 2 -> 17 80",
     R"({"bus":0,"length":2,"address":"0x48","register":"00","flag":false})", R"({"data":"17 80"})"},
    {"05 09 00 02 00 49 00 00 00 00 00 01", "01 03", "i2c read bus 0 0x49 len 2 flag on -> NACK",
     R"({"bus":0,"length":2,"address":"0x49","register":"","flag":true})", "{}"},
    {"04 09 01 03 00 50 02 34 12 00 00 00 A1 A2 A3", "23 01",
     "i2c write bus 1 0x50 reg 12 34 data a1 a2 a3 -> status 0x0123",
     R"({"bus":1,"length":3,"address":"0x50","register":"12 34","flag":false,"data":"a1 a2 a3"})", "{}"},
    {"06 09 00 00", "00 00 00 02 01 48 50 A1 A2", "i2c scan bus 0 -> 0x48 0x50 a1 a2", R"({"bus":0,"flag":false})",
     R"({"addresses":["0x48","0x50"],"two_byte_entries":"a1 a2"})"},
    {"01 0D 00 03 00 02 01 40 42 0F 00", "00 00",
     "spi controller init mode 3 msb first 8 bits select 2 active high 1 MHz -> SUCCESS",
     R"({"bit_order":"msb first","mode":3,"data_width":"8","chip_select":2,"chip_select_polarity":"high",)"
     R"("frequency":1000000})",
     "{}"},
    {"04 0D 01 00 04 00 9F", "00 00 04 00 FF EF 40 18", "spi transfer len 4 data 9f -> ff ef 40 18",
     R"({"length":4,"data":"9f"})", R"({"data":"ff ef 40 18"})"},
    {"02 10 07 01 02 03 09", "03 01",
     "uart init 115200 baud data 8 parity even stop 9 handshake rts-cts -> BAD_PARAMETER",
     R"({"baud_rate":"115200","hw_handshake":"rts-cts","parity":"even","data_size":"8","stop_bit":9})", "{}"},
    {"05 10 03 00 41 1B C3", "00 00", R"(uart send message 41 1b c3 "A\u001b\ufffd" -> SUCCESS)",
     R"({"data":"41 1b c3"})", "{}"},
    {"04 14 05 02", "05 01", "gpio configure interrupt pin 5 both -> BAD_PIN", R"({"pin":5,"trigger":"both"})", "{}"},
    {"03 14 06", "00 00 01", "gpio digital read pin 6 -> high", R"({"pin":6})", R"({"level":"high"})"},
    {"04 19 01 50 08 01 02 03 04 05 06 07 0A 34 12 78 56 0B 0C", "00 00", "i3c init bus 0x50/0x08 -> SUCCESS",
     R"({"targets":[{"static_address":"0x50","dynamic_address":"0x08","pid":"01 02 03 04 05 06","bcr":"0x07",)"
     R"("dcr":"0x0a","extra_word_1":"0x1234","extra_word_2":"0x5678","extra_byte_1":"0x0b","extra_byte_2":"0x0c"}]})",
     "{}"},
    {"08 19 08 89 00 02 12 34 00 00 02 00", "00 00 00 00 01 00 D1",
     "i3c sdr read 0x08 reg 12 34 len 2 flags 0x11 -> d1",
     R"({"address":"0x08","direction":"read","mode":"sdr","flags":"0x11","register":"12 34","length":2})",
     R"({"data":"d1"})"},
    {"08 19 0A 02 20 00 03 00 A1 A2 A3", "00 00", "i3c hdr-ddr write 0x0a command 0x20 data a1 a2 a3 -> SUCCESS",
     R"({"address":"0x0a","direction":"write","mode":"hdr-ddr","flags":"0x00","command":"0x20","length":3,)"
     R"("data":"a1 a2 a3"})",
     "{}"},
    {"09 19 30 00 03 8A 00 01 02 20", "00 00", "i3c ccc SETMRL 0x30 258 ibi 32 -> SUCCESS",
     R"({"address":"0x30","direction":"write","mode":"sdr","length":3,"ccc":"0x8a","max_read_length":258,)"
     R"("max_ibi_payload_size":32})",
     "{}"},
    {"09 19 50 00 01 87 00 14", "00 00", "i3c ccc SETDASA 0x50 new 0x0a -> SUCCESS",
     R"({"address":"0x50","direction":"write","mode":"sdr","length":1,"ccc":"0x87","dynamic_address":"0x0a"})", "{}"},
    {"09 19 30 11 02 90 91", "00 00 00 00 00 02 D1 D2", "i3c ccc GETSTATUS 0x30 defining 0x91 -> d1 d2",
     R"({"address":"0x30","direction":"read","mode":"sdr","length":2,"ccc":"0x90","defining_byte":"0x91"})",
     R"({"data":"d1 d2"})"},
    {"09 19 30 10 01 3F 77 A1", "00 00", "i3c ccc transfer 0x30 code 0x3f write defining 0x77 len 1 data a1 -> SUCCESS",
     R"({"address":"0x30","direction":"write","mode":"sdr","length":1,"ccc":"0x3f","defining_byte":"0x77",)"
     R"("data":"a1"})",
     "{}"},
    {"99 09 01 02", "01 01", "unknown command 0x0999 01 02 -> UNKNOWN_COMMAND", R"({"extra":"01 02"})", "{}"},

    // Too short, too long, at odds with itself.
    {"05 09 00 02", "00", "i2c read bus 0 ? len ? (8 bytes missing) -> response of 5 bytes", R"({"bus":0,"missing":8})",
     R"({"missing":1})"},
    {"05", nullptr, "request of 3 bytes", R"({})", nullptr},
    {"05 09 00 04 00 48 00 00 00 00 00 00", "00 00 F1 F2 F3 D1 D2",
     "i2c read bus 0 0x48 len 4 -> d1 d2 (2 bytes missing)",
     R"({"bus":0,"length":4,"address":"0x48","register":"","flag":false})", R"({"data":"d1 d2","missing":2})"},
    {"05 09 00 01 00 48 09 00 00 00 00 00", "00 00 F1 F2 F3 D1 D2",
     "i2c read bus 0 0x48 reg 00 00 00 00 len 1 (its counts disagree) -> d1 (1 byte too many)",
     R"({"bus":0,"length":1,"address":"0x48","register":"00 00 00 00","flag":false})", R"({"data":"d1","extra":"d2"})"},
    {"05 10 FF FF 41", "00 00", R"(uart send message 41 "A" (its counts disagree) -> SUCCESS)", R"({"data":"41"})",
     "{}"},
    {"05 14 05 00", "00 00", "gpio disable interrupt pin 5 (1 byte too many) -> SUCCESS", R"({"pin":5,"extra":"00"})",
     "{}"},
};

TEST(Lines, SayWhatWentOverTheWire)
{
    for (const Line& line : LINES) {
        SCOPED_TRACE(line.request);
        const Frame request = hex(std::string("02 01 ") + line.request);
        Decoded asked, answered;
        const Meaning meaning = decodeRequest(table(), request, asked);
        std::string text, fields, answer;
        appendRequest(text, meaning, request, asked);
        appendFields(fields, asked);
        if (line.response != nullptr) {
            const Frame response = hex("02 01 " + std::string(line.request, 5) + " " + line.response);
            decodeResponse(meaning, response, &asked, answered);
            text += " -> ";
            appendResponse(text, table(), meaning, response, answered);
            appendFields(answer, answered);
            EXPECT_EQ(answer, line.answer);
        }
        EXPECT_EQ(text, line.text);
        EXPECT_EQ(fields, line.fields);
        EXPECT_TRUE(nlohmann::json::accept(fields));
    }
}

TEST(Lines, SayWhatTheAdapterReportedByItself)
{
    const std::pair<const char*, const char*> NOTIFICATIONS[]{
        {"00 00 81 10 00 00 03 00 41 42 43", R"(uart received 41 42 43 "ABC")"},
        {"00 00 81 14 00 00 05", "gpio interrupt pin 5"},
        {"00 00 81 19 00 00 08 02 A1 A2", "i3c in-band interrupt 0x08 payload a1 a2"},
        {"00 00 81 19 00 00 08 03 A1 A2", "i3c in-band interrupt 0x08 payload a1 a2 (1 byte missing)"},
        {"00 00 82 19 00 00 01 02 03 04 05 06 07 0A 30", "i3c hot-join 0x30 pid 01 02 03 04 05 06 bcr 0x07 dcr 0x0a"},
        {"00 00 99 19 00 00 01", "unknown notification 0x1999 01"},
    };
    for (const auto& [bytes, expected] : NOTIFICATIONS) {
        const Frame frame = hex(bytes);
        Decoded decoded;
        const Notification* const notification = decodeNotification(table(), frame, decoded);
        std::string text;
        appendNotification(text, notification, frame, decoded);
        EXPECT_EQ(text, expected);
    }
}

} // namespace

} // namespace trace
