// What holds for every command in every face of the shipped library, shown by every row of the golden table.
#include <algorithm>
#include <cctype>
#include <fstream>
#include <regex>
#include <set>
#include <utility>

#include "commands.hpp"
#include "golden/golden.hpp"
#include "support/adapter.hpp"

namespace golden {

namespace {

std::string textOf(const std::string& path)
{
    std::ifstream file(TARVIX_SOURCE_DIR "/" + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string lowerCase(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return text;
}

// The methods or functions of a header before the first private member that return a StatusCode. Their names differ in
// capitals: i3cLegacyI2cRead, I3cLegacyI2CRead.
std::set<std::string> commandsOf(const std::string& header)
{
    const std::string text = textOf("include/tarvixsdk/" + header);
    const std::string open = text.substr(0, text.find("private:"));
    const std::regex expression(
        "\n(?: +|TARVIX_API )StatusCode\\s+(?!TarvixSDK_NextNotification)(?:TarvixSDK_)?(\\w+)\\(");
    std::set<std::string> names;
    for (std::sregex_iterator match(open.begin(), open.end(), expression); match != std::sregex_iterator(); ++match) {
        names.insert(lowerCase((*match)[1]));
    }
    return names;
}

TEST(GoldenTable, HasARowForEveryCommandOfEveryFaceAndSoHasTheProtocolDocument)
{
    std::set<std::string> sent, blocking, flat, codes;
    for (const Row& row : everyRow()) {
        sent.insert(row.send != nullptr ? lowerCase(row.name) : "");
        blocking.insert(row.block != nullptr ? lowerCase(row.name) : "");
        flat.insert(row.flat != nullptr ? lowerCase(row.function) : "");
        codes.insert(row.request.substr(0, 5));
    }
    for (std::set<std::string>* const names : {&sent, &blocking, &flat}) {
        names->erase("");
    }
    EXPECT_EQ(commandsOf("async_sdk.hpp"), sent);
    EXPECT_EQ(commandsOf("sdk.hpp"), blocking);
    auto functions = commandsOf("flat.h");
    functions.erase("i2ctransfers"); // a job of reads and writes
    EXPECT_EQ(functions, flat);
    EXPECT_EQ(blocking, flat) << "a face lacks a command of another";
    // Composed of other commands, or readers of one answer, which the asynchronous class asks for.
    blocking.insert("getanalogmeasurements");
    for (const char* const composed : {"getdeviceinfo", "gpiogetvoltage", "i2cgetbusvoltage", "spigetbusvoltage",
                                       "uartgetbusvoltage", "i3cgetbusvoltage"}) {
        blocking.erase(composed);
    }
    EXPECT_EQ(blocking, sent) << "a face lacks a command of another";

    const std::string document = textOf("docs/wire-protocol.md");
    for (const CommandInfo& command : COMMANDS) {
        const auto code = static_cast<unsigned>(command.code);
        const std::string low = hexOf({static_cast<std::uint8_t>(code)});
        const std::string high = hexOf({static_cast<std::uint8_t>(code >> 8)});
        EXPECT_TRUE(codes.count(low + " " + high)) << command.name << " has no row in the golden table";
        EXPECT_TRUE(std::regex_search(document, std::regex("\n\\|[^|]*" + high + low + "[^|]*\\|")))
            << command.name << " has no row in docs/wire-protocol.md";
    }
}

// Lines "> request" and "< response" of the document, which may not say anything else than the table.
TEST(GoldenTable, HoldsEveryExampleOfTheProtocolDocument)
{
    std::set<std::string> known;
    for (const Row& row : everyRow()) {
        known.insert("> " + row.request);
        known.insert("> " + row.request + " < " + row.request.substr(0, 5) + " 00 00 " + row.answer);
    }
    const std::string document = textOf("docs/wire-protocol.md");
    const std::regex example("\n([<>] )(?!00 00)[0-9A-F]{2} [0-9A-F]{2} ((?:[0-9A-F]{2} *)+)"); // no notification
    std::string request;
    int examples = 0;
    for (std::sregex_iterator match(document.begin(), document.end(), example); match != std::sregex_iterator();
         ++match, ++examples) {
        const std::string frame = (*match)[1].str() + hexOf(hex((*match)[2]));
        request = frame[0] == '>' ? frame : request;
        EXPECT_TRUE(known.count(frame[0] == '>' ? frame : request + " " + frame)) << frame;
    }
    EXPECT_GE(examples, 8);
}

using GoldenAsync = Adapter;

TEST_F(GoldenAsync, EachMethodSendsItsFrameOnceConnected)
{
    TarvixAsyncSDK disconnected;
    TarvixAsyncSDK sdk;
    ASSERT_TRUE(sdk.connect(""));
    const Bytes data = DATA;
    for (const Row& row : rowsWith(&Row::send)) {
        SCOPED_TRACE(row.name);
        device->forget();
        EXPECT_EQ(row.send(disconnected, 0x0102), StatusCode::NOT_CONNECTED);
        EXPECT_EQ(row.send(sdk, 0x0102), StatusCode::SUCCESS);
        EXPECT_EQ(device->frames(), std::vector<Bytes>{hex("02 01 " + row.request)});
    }
    EXPECT_EQ(DATA, data) << "data passed by reference is only read";
}

using GoldenBlocking = Adapter;

TEST_F(GoldenBlocking, EachMethodSendsItsFrameAndDecodesTheAnswerWhateverItsStatus)
{
    TarvixSDK sdk(LONG_ENOUGH);
    ASSERT_TRUE(sdk.connect(""));
    for (const char* const status : {"00 00 ", "23 01 "}) {
        for (const Row& row : rowsWith(&Row::block)) {
            SCOPED_TRACE(row.name + ", answer " + status + row.answer);
            answer(status + row.answer);
            Outputs outputs;
            ASSERT_EQ(row.block(sdk, outputs), *status == '0' ? StatusCode::SUCCESS : row.statusOnError);
            EXPECT_EQ(sent(), row.request);
            EXPECT_EQ(outputs.values(), row.values);
            EXPECT_EQ(outputs.data(), row.data);
        }
    }
}

TEST_F(GoldenBlocking, WithoutAResponseEveryOutputStaysAsItWas)
{
    constexpr int NO_TIME_EITHER = -2;
    TarvixSDK disconnected(NOT_AT_ALL);
    TarvixSDK sdk(NO_TIME_EITHER);
    ASSERT_TRUE(sdk.connect(""));
    for (const Row& row : rowsWith(&Row::block)) {
        SCOPED_TRACE(row.name);
        Outputs outputs;
        EXPECT_EQ(row.block(disconnected, outputs), StatusCode::NOT_CONNECTED);
        const bool waits = row.request != "01 04" && row.request != "02 04";
        EXPECT_EQ(row.block(sdk, outputs), waits ? StatusCode::NO_RESPONSE : StatusCode::SUCCESS);
        EXPECT_EQ(outputs.values() + outputs.data(), "");
    }
}

using GoldenFlat = FlatAdapter;

// Single values are the method's to write, so also when the adapter reports an error; buffers are not.
TEST_F(GoldenFlat, EachFunctionSendsItsFrameAndCopiesDataOutOnSuccessOnly)
{
    connect();
    for (const char* const status : {"00 00 ", "23 01 "}) {
        for (const Row& row : rowsWith(&Row::flat)) {
            SCOPED_TRACE(row.function + ", answer " + status + row.answer);
            answer(status + row.answer);
            Outputs outputs;
            const StatusCode result = row.flat(handle, argumentsFor(outputs));
            ASSERT_EQ(result, *status == '0' ? StatusCode::SUCCESS : row.statusOnError);
            EXPECT_EQ(sent(), row.request);
            EXPECT_EQ(outputs.values(), row.values);
            const bool copied = result == StatusCode::SUCCESS && row.data != "-";
            EXPECT_EQ(outputs.data(), copied ? row.data : "");
            if ((row.refuses & NO_LENGTH) != 0) {
                const std::size_t item = row.function == "I3cGetDeviceTable" ? sizeof(I3cTargetInfo) : 1;
                const std::size_t count = hex(row.data).size() / item;
                const bool reported = outputs.length8 == count || outputs.length16 == count || outputs.length == count;
                const bool untouched =
                    outputs.length8 == UNTOUCHED && outputs.length16 == 0xEEEE && outputs.length == 0xEEEE;
                EXPECT_TRUE(result == StatusCode::SUCCESS ? reported : untouched);
            }
        }
    }
}

// What makes an argument wrong.
const std::pair<unsigned, void (*)(Arguments&)> SPOILERS[]{
    {NO_VALUE, [](auto& a) { a.word1 = nullptr, a.byte1 = nullptr; }},
    {NO_SECOND_VALUE, [](auto& a) { a.word2 = nullptr, a.byte2 = nullptr; }},
    {BAD_BUS, [](auto& a) { a.bus = 2; }},
    {BAD_REGISTER, [](auto& a) { a.in = nullptr; }},
    {BAD_REGISTER, [](auto& a) { a.registerLength = 5; }},
    {NO_DATA, [](auto& a) { a.in = nullptr, a.registerLength = 0; }},
    {NO_BUFFER, [](auto& a) { a.buffer = nullptr, a.records = nullptr, a.info = nullptr; }},
    {NO_LENGTH, [](auto& a) { a.length8 = nullptr, a.length16 = nullptr, a.length = nullptr; }},
};

TEST_F(GoldenFlat, EachFunctionRefusesItsWrongArgumentsBeforeItLooksAtTheConnection)
{
    int refused = 0;
    for (const bool connected : {false, true}) {
        ASSERT_TRUE(!connected || TarvixSDK_Connect(handle, nullptr));
        for (const Row& row : everyRow()) {
            for (const auto& [refusal, spoil] : SPOILERS) {
                if ((row.refuses & refusal) != 0) {
                    Outputs outputs;
                    Arguments wrong = argumentsFor(outputs);
                    spoil(wrong);
                    ASSERT_EQ(row.flat(handle, wrong), StatusCode::INVALID_ARGUMENT) << row.function << ": " << refusal;
                    ++refused;
                }
            }
        }
    }
    EXPECT_EQ(sent(), "");
    EXPECT_GT(refused, 100);
}

TEST_F(GoldenFlat, ANullHandleIsHarmlessWhateverTheOtherArgumentsAre)
{
    for (const Row& row : rowsWith(&Row::flat)) {
        EXPECT_EQ(row.flat(nullptr, Arguments{}), StatusCode::NOT_CONNECTED) << row.function;
    }
    EXPECT_FALSE(TarvixSDK_Connect(nullptr, nullptr));
    EXPECT_FALSE(TarvixSDK_ConnectWithSerialNumber(nullptr, nullptr));
    TarvixSDK_Disconnect(nullptr);
    TarvixSDK_Destroy(nullptr);
    TarvixSDK_FreeDeviceInfo(nullptr);
    TarvixSDK_OpenResult result;
    EXPECT_EQ(TarvixSDK_Open(nullptr, nullptr, nullptr, 0, nullptr), OpenStatus::FAILED);
    EXPECT_EQ(TarvixSDK_Open(nullptr, nullptr, nullptr, 0, &result), OpenStatus::FAILED);
    EXPECT_EQ(result.status, OpenStatus::FAILED);
    EXPECT_EQ(std::string(result.path) + result.message, "no handle");
    EXPECT_FALSE(TarvixSDK_IsConnected(nullptr));
    TarvixSDK_OnNotificationFrame(nullptr, nullptr, nullptr);
    TarvixSDK_OnConnectionLost(nullptr, nullptr, nullptr);
    EXPECT_EQ(TarvixSDK_NextNotification(nullptr, nullptr, 1, nullptr, FOREVER), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(TarvixSDK_DroppedNotifications(nullptr), 0U);
}

TEST(GoldenTable, EveryFaceSaysItsVersion)
{
    EXPECT_EQ(TarvixAsyncSDK::getVersion(), "1.3.0");
    EXPECT_EQ(TarvixSDK::getVersion(), "1.3.0");
    EXPECT_STREQ(TarvixSDK_GetVersion(), "1.3.0");
}

} // namespace

} // namespace golden
