// What the tool prints of bytes that others chose: replies decoded, dumps, foreign text, notifications.
#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "adapter/notifications.hpp"
#include "adapter/statuses.hpp"
#include "commands/i3c/codes.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

struct Reply {
    const char* code;
    Bytes bytes;
    const char* text; // as printed, a field a line
    const char* json; // the values, by key
};

// Values worked out by hand from the I3C standard's tables.
const Reply REPLIES[] = {
    {"GETMWL", {0x12, 0x34}, "max write length: 4660 bytes\n", R"({"maxWriteLength":4660})"},
    {"GETMRL", {0x01, 0x00}, "max read length: 256 bytes\n", R"({"maxReadLength":256})"},
    {"GETMRL",
     {0x00, 0x40, 0x10},
     "max read length: 64 bytes\nmax ibi payload: 16 bytes\n",
     R"({"maxReadLength":64,"maxIbiPayload":16})"},
    {"GETMRL",
     {0xFF, 0xFF, 0x00},
     "max read length: 65535 bytes\nmax ibi payload: 0 = no limit\n",
     R"({"maxReadLength":65535,"maxIbiPayload":0})"},
    {"GETPID",
     {0x04, 0xD2, 0xAB, 0xCD, 0x7F, 0xED},
     "manufacturer id: 0x0269\ntype: vendor-fixed\npart id: 0xabcd\ninstance id: 0x7\nvendor bits: 0xfed\n",
     R"({"manufacturerId":617,"type":"vendor-fixed","partId":43981,"instanceId":7,"vendorBits":4077})"},
    {"GETPID",
     {0x04, 0xD3, 0xAB, 0xCD, 0x7F, 0xED},
     "manufacturer id: 0x0269\ntype: random\nrandom value: 0xabcd7fed\n",
     R"({"manufacturerId":617,"type":"random","randomValue":2882371565})"},
    {"GETBCR", {0x00}, "bcr: 0x00\nrole: target\nfeatures: none\n", R"({"bcr":0,"role":"target","features":[]})"},
    {"GETBCR",
     {0x58},
     "bcr: 0x58\nrole: controller-capable\nfeatures: offline-capable, virtual targets\n",
     R"({"bcr":88,"role":"controller-capable","features":["offline-capable","virtual targets"]})"},
    {"GETBCR",
     {0x81},
     "bcr: 0x81\nrole: reserved 2\nfeatures: speed limit\n",
     R"({"bcr":129,"role":"reserved 2","features":["speed limit"]})"},
    {"GETBCR",
     {0xE6},
     "bcr: 0xe6\nrole: reserved 3\nfeatures: interrupts, interrupt payload, advanced capabilities\n",
     R"({"bcr":230,"role":"reserved 3","features":["interrupts","interrupt payload","advanced capabilities"]})"},
    {"GETDCR", {0x00}, "dcr: 0x00\ndevice: generic device\n", R"({"dcr":0,"device":"generic device"})"},
    {"GETDCR", {0x41}, "dcr: 0x41\ndevice: accelerometer\n", R"({"dcr":65,"device":"accelerometer"})"},
    {"GETDCR", {0x42}, "dcr: 0x42\ndevice: gyroscope\n", R"({"dcr":66,"device":"gyroscope"})"},
    {"GETDCR",
     {0x46},
     "dcr: 0x46\ndevice: accelerometer, gyroscope, magnetometer\n",
     R"({"dcr":70,"device":"accelerometer, gyroscope, magnetometer"})"},
    {"GETDCR", {0x40}, "dcr: 0x40\ndevice: see MIPI's list of device characteristics\n", R"({"dcr":64,"device":null})"},
    {"GETSTATUS",
     {0xA5, 0x00},
     "pending interrupt: none\nprotocol error: no\nactivity state: 0\nvendor byte: 0xa5\n",
     R"({"pendingInterrupt":0,"protocolError":false,"activityState":0,"vendorByte":165})"},
    {"GETSTATUS",
     {0x00, 0xEB},
     "pending interrupt: 11\nprotocol error: yes\nactivity state: 3\nvendor byte: 0x00\n",
     R"({"pendingInterrupt":11,"protocolError":true,"activityState":3,"vendorByte":0})"},
    {"GETMXDS",
     {0x00, 0x00},
     "max write rate: 12.5 MHz\nmax read rate: 12.5 MHz\nclock to data turnaround: at most 8 ns\n",
     R"({"maxWriteRate":"12.5 MHz","maxReadRate":"12.5 MHz","clockToDataTurnaround":"8 ns"})"},
    {"GETMXDS",
     {0x04, 0x23, 0x10, 0x27, 0x01},
     "max write rate: 2 MHz\nmax read rate: 4 MHz\nclock to data turnaround: at most 12 ns\n"
     "max read turnaround: 75536 us\n",
     R"({"maxWriteRate":"2 MHz","maxReadRate":"4 MHz","clockToDataTurnaround":"12 ns","maxReadTurnaround":75536})"},
    {"GETMXDS",
     {0x0D, 0x3A},
     "max write rate: reserved 5\nmax read rate: 6 MHz\nclock to data turnaround: more than 12 ns\n",
     R"({"maxWriteRate":"reserved 5","maxReadRate":"6 MHz","clockToDataTurnaround":"more than 12 ns"})"},
    {"GETCAPS", {0x0A}, "hdr modes: HDR-TSP, HDR-BT\n", R"({"hdrModes":["HDR-TSP","HDR-BT"]})"},
    {"GETCAPS",
     {0x00, 0x32, 0x18},
     "hdr modes: none\nversion: 1.2\ngroup addresses: 3\ndefining bytes: GETCAPS, GETSTATUS\n",
     R"({"hdrModes":[],"version":"1.2","groupAddresses":3,"definingBytes":["GETCAPS","GETSTATUS"]})"},
    {"GETXTIME",
     {0x03, 0x82, 0x19, 0x05},
     "supported modes: synchronous, asynchronous 0\nactive modes: asynchronous 0\noverflow: yes\nclock: 12.5 MHz\n"
     "inaccuracy: 0.5 %\n",
     R"({"supportedModes":["synchronous","asynchronous 0"],"activeModes":["asynchronous 0"],"overflow":true,)"
     R"("clock":12500000,"inaccuracy":0.5})"},
    {"RSTACT", {0xFF}, "answer: 255\n", R"({"answer":255})"},
};

TEST(Replies, DecodedInTextAndJson)
{
    for (const auto& [name, bytes, text, json] : REPLIES) {
        std::string lines;
        Json values;
        for (const Field& field : findCode(name).decode(bytes)) {
            lines += field.label + ": " + field.text + "\n";
            values[jsonKey(field.label)] = field.value;
        }
        EXPECT_EQ(lines, text) << name << " " << toHex(bytes);
        EXPECT_EQ(values.dump(), json) << name << " " << toHex(bytes);
    }
}

// Each decoder is safe with the shortest reply that reaches it, and no code that replies goes untested.
TEST(Replies, EveryDecoderHasARowAndAShortestReply)
{
    for (const Code& code : codes()) {
        if (code.decode != nullptr) {
            const auto isRow = [&](const Reply& reply) { return reply.code == code.name; };
            EXPECT_TRUE(std::any_of(std::begin(REPLIES), std::end(REPLIES), isRow)) << code.name;
            ASSERT_GT(code.shortestReply, 0) << code.name;
            EXPECT_FALSE(code.decode(Bytes(code.shortestReply, 0xFF)).empty()) << code.name;
        }
        EXPECT_TRUE(code.broadcast != nullptr || code.direct != nullptr) << code.name;
    }
}

TEST(Codes, FoundInAnyCaseAndWrittenWithTheirArguments)
{
    EXPECT_EQ(usage(findCode("setmrl")), "SETMRL [@ADDR] LENGTH [PAYLOAD]");
    EXPECT_EQ(usage(findCode("SetXTime")), "SETXTIME [@ADDR] SUBCOMMAND [DATA...]");
    EXPECT_EQ(usage(findCode("GETPID")), "GETPID @ADDR");
    EXPECT_THROW(findCode("GETPI"), UsageError);
}

TEST(Text, Hexdump)
{
    Bytes bytes;
    for (unsigned i = 0; i < 18; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(0x1D + i));
    }
    bytes.back() = 0x7F;
    EXPECT_EQ(hexdump(bytes, 0xFFF8),
              "0000fff8  1d 1e 1f 20 21 22 23 24  25 26 27 28 29 2a 2b 2c  |... !\"#$%&'()*+,|\n"
              "00010008  2d 7f                                             |-.|\n");
    EXPECT_EQ(hexdump({}, 0), "");
    EXPECT_EQ(toHexWords(Bytes{0x0A, 0xFF}), "0a ff");
}

TEST(Text, ForeignTextReachesNoTerminalRaw)
{
    EXPECT_EQ(withoutControls("a\x1b[2Jb\r\n\x7f\t"), "a.[2Jb....");
    EXPECT_EQ(withoutControls("\xC3\xA4 ~"), "\xC3\xA4 ~");
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
    event = {.time = time, .kind = NotificationKind::I3C_IBI, .complete = true, .address = 8, .data = {0xAA}};
    EXPECT_EQ(describe(event), "i3c-ibi address=0x08 payload=aa");
    event = {.time = time, .kind = NotificationKind::GPIO_INTERRUPT, .complete = false, .data = {0xFF, 0xFF, 0x09}};
    EXPECT_EQ(describe(event), "gpio frame=ffff09");
    EXPECT_EQ(toJson(event).dump(), R"({"time":"2025-01-31T12:00:00.000042Z","event":"gpio","frame":"ffff09"})");
}

TEST(Statuses, ByName)
{
    EXPECT_EQ(nameOf(StatusCode::NO_RESPONSE), "NO_RESPONSE");
    EXPECT_EQ(nameOf(StatusCode{0x0301}), "NACK");
    EXPECT_EQ(nameOf(StatusCode{0x7777}), "DEVICE_STATUS");
    EXPECT_TRUE(isStatus(StatusCode{0x0106}, "NOT_INITIALISED"));
    EXPECT_FALSE(isStatus(StatusCode::SUCCESS, "NACK"));
}

} // namespace

} // namespace tool
