#include "ccc.hpp"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include <fmt/format.h>

#include "data.hpp"
#include "errors.hpp"
#include "i3c.hpp"
#include "numbers.hpp"
#include "transfer.hpp"

namespace tool {

namespace {

// ---- Replies in words ---------------------------------------------------------------------------------------------

// One thing that a reply says.
struct Field {
    std::string label; // "part id" in text, "partId" in JSON
    Json value;
    std::string text;

    Field(std::string name, Json content, std::string words)
        : label(std::move(name)), value(std::move(content)), text(std::move(words))
    {
    }
    Field(std::string name, const std::vector<std::string>& list)
        : label(std::move(name)), value(list), text(list.empty() ? "none" : fmt::format("{}", fmt::join(list, ", ")))
    {
    }
};

using Fields = std::vector<Field>;
using Names = std::vector<std::pair<unsigned, std::string_view>>; // by bit

std::string jsonKey(std::string_view label)
{
    std::string key;
    bool wordBegins = false;
    for (const char c : label) {
        if (c == ' ') {
            wordBegins = true;
            continue;
        }
        key += wordBegins ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        wordBegins = false;
    }
    return key;
}

std::vector<std::string> bitsSet(unsigned value, const Names& names)
{
    std::vector<std::string> set;
    for (const auto& [bit, name] : names) {
        if ((value >> bit & 1) != 0) {
            set.emplace_back(name);
        }
    }
    return set;
}

unsigned bigEndian(std::span<const std::uint8_t> bytes)
{
    unsigned value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8 | byte;
    }
    return value;
}

Field hexField(std::string label, unsigned value, int digits)
{
    return {std::move(label), value, fmt::format("0x{:0{}x}", value, digits)};
}

Field amount(std::string label, unsigned value, std::string_view unit)
{
    return {std::move(label), value, fmt::format("{} {}", value, unit)};
}

Fields decodeMaxWriteLength(const Bytes& reply)
{
    return {amount("max write length", bigEndian(reply), "bytes")};
}

Fields decodeMaxReadLength(const Bytes& reply)
{
    Fields fields{amount("max read length", bigEndian(std::span(reply).first(2)), "bytes")};
    if (reply.size() > 2) {
        fields.push_back(
            {"max ibi payload", reply[2], reply[2] == 0 ? "0 = no limit" : fmt::format("{} bytes", reply[2])});
    }
    return fields;
}

Fields decodePid(const Bytes& reply)
{
    const unsigned high = bigEndian(std::span(reply).first(2));
    const unsigned low = bigEndian(std::span(reply).subspan(2, 4));
    const bool random = (high & 1) != 0;
    Fields fields{hexField("manufacturer id", high >> 1, 4),
                  {"type", random ? "random" : "vendor-fixed", random ? "random" : "vendor-fixed"}};
    if (random) {
        fields.push_back(hexField("random value", low, 8));
    } else {
        fields.push_back(hexField("part id", low >> 16, 4));
        fields.push_back(hexField("instance id", low >> 12 & 0xF, 1));
        fields.push_back(hexField("vendor bits", low & 0xFFF, 3));
    }
    return fields;
}

Fields decodeBcr(const Bytes& reply)
{
    static constexpr std::string_view ROLES[] = {"target", "controller-capable", "reserved 2", "reserved 3"};
    const std::string role(ROLES[reply[0] >> 6]);
    return {hexField("bcr", reply[0], 2), {"role", role, role}, {"features", bcrFeatures(reply[0])}};
}

Fields decodeDcr(const Bytes& reply)
{
    // The codes that need no list of makers at hand.
    static const std::vector<std::pair<unsigned, std::string>> TYPES{{0x00, "generic device"},
                                                                     {0x41, "accelerometer"},
                                                                     {0x42, "gyroscope"},
                                                                     {0x43, "magnetometer"},
                                                                     {0x44, "accelerometer and gyroscope"},
                                                                     {0x45, "accelerometer and magnetometer"},
                                                                     {0x46, "accelerometer, gyroscope, magnetometer"}};
    Fields fields{hexField("dcr", reply[0], 2)};
    const auto known =
        std::find_if(TYPES.begin(), TYPES.end(), [&](const auto& type) { return type.first == reply[0]; });
    if (known != TYPES.end()) {
        fields.push_back({"device", known->second, known->second});
    } else {
        fields.push_back({"device", nullptr, "see MIPI's list of device characteristics"});
    }
    return fields;
}

Fields decodeStatus(const Bytes& reply)
{
    const unsigned low = reply[1];
    const bool error = (low & 0x20) != 0;
    return {{"pending interrupt", low & 0xF, (low & 0xF) == 0 ? "none" : fmt::format("{}", low & 0xF)},
            {"protocol error", error, error ? "yes" : "no"},
            {"activity state", low >> 6, fmt::format("{}", low >> 6)},
            hexField("vendor byte", reply[0], 2)};
}

Field rateField(std::string label, unsigned byte)
{
    static constexpr std::string_view RATES[] = {"12.5 MHz", "8 MHz", "6 MHz", "4 MHz", "2 MHz"};
    const unsigned code = byte & 7;
    const std::string rate = code < std::size(RATES) ? std::string(RATES[code]) : fmt::format("reserved {}", code);
    return {std::move(label), rate, rate};
}

Fields decodeMaxDataSpeed(const Bytes& reply)
{
    static constexpr std::string_view DELAYS[] = {"8 ns", "9 ns", "10 ns", "11 ns", "12 ns"};
    const unsigned code = reply[1] >> 3 & 7;
    const std::string delay = code < std::size(DELAYS) ? std::string(DELAYS[code]) : "more than 12 ns";
    Fields fields{rateField("max write rate", reply[0]),
                  rateField("max read rate", reply[1]),
                  {"clock to data turnaround", delay, "at most " + delay}};
    if (code >= std::size(DELAYS)) {
        fields.back().text = delay;
    }
    if (reply.size() >= 5) {
        // Least significant byte first, unlike the lengths.
        fields.push_back(amount("max read turnaround", bigEndian(std::vector{reply[4], reply[3], reply[2]}), "us"));
    }
    return fields;
}

Fields decodeCapabilities(const Bytes& reply)
{
    Fields fields{{"hdr modes", bitsSet(reply[0], {{0, "HDR-DDR"}, {1, "HDR-TSP"}, {2, "HDR-TSL"}, {3, "HDR-BT"}})}};
    if (reply.size() > 1) {
        const std::string version = fmt::format("1.{}", reply[1] & 0xF);
        fields.push_back({"version", version, version});
        fields.push_back({"group addresses", reply[1] >> 4 & 3, fmt::format("{}", reply[1] >> 4 & 3)});
    }
    if (reply.size() > 2) {
        fields.push_back({"defining bytes", bitsSet(reply[2], {{3, "GETCAPS"}, {4, "GETSTATUS"}})});
    }
    return fields;
}

Fields decodeTiming(const Bytes& reply)
{
    static const Names MODES{
        {0, "synchronous"}, {1, "asynchronous 0"}, {2, "asynchronous 1"}, {3, "asynchronous 2"}, {4, "asynchronous 3"}};
    return {{"supported modes", bitsSet(reply[0], MODES)},
            {"active modes", bitsSet(reply[1], MODES)},
            {"overflow", (reply[1] & 0x80) != 0, (reply[1] & 0x80) != 0 ? "yes" : "no"},
            {"clock", reply[2] * 500'000, fmt::format("{:.1f} MHz", reply[2] * 0.5)},
            {"inaccuracy", reply[3] / 10.0, fmt::format("{:.1f} %", reply[3] / 10.0)}};
}

Fields decodeResetTime(const Bytes& reply)
{
    return {{"answer", reply[0], fmt::format("{}", reply[0])}};
}

// ---- How the codes are sent ---------------------------------------------------------------------------------------

constexpr std::uint64_t LAST_WRITTEN_RESET = 0x80; // RSTACT reads with the defining bytes behind it

struct Call {
    TarvixSDK& sdk;
    std::uint8_t address = 0; // of a direct form
    std::vector<std::uint64_t> values;
    Bytes data;
    std::optional<Bytes> reply; // in wire order; none of a form that only sets something

    std::uint8_t byte(std::size_t i) const { return static_cast<std::uint8_t>(values[i]); }
    std::uint16_t word(std::size_t i) const { return static_cast<std::uint16_t>(values[i]); }
    std::optional<std::uint8_t> optionalByte(std::size_t i) const
    {
        return i < values.size() ? std::optional(byte(i)) : std::nullopt;
    }
    std::optional<Bytes> optionalData() const { return data.empty() ? std::nullopt : std::optional(data); }
    void answer(std::uint16_t length)
    {
        reply = Bytes{static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)};
    }
    I3cTargetResetDefByte resetAction() const { return I3cTargetResetDefByte{byte(0)}; }
    bool readsReset() const { return values[0] > LAST_WRITTEN_RESET; }
};

using Send = StatusCode (*)(Call& call);

template <auto method>
StatusCode broadcast(Call& call)
{
    return (call.sdk.*method)();
}

template <auto method>
StatusCode broadcastByte(Call& call)
{
    return (call.sdk.*method)(call.byte(0));
}

template <auto method>
StatusCode direct(Call& call)
{
    return (call.sdk.*method)(call.address);
}

template <auto method>
StatusCode directByte(Call& call)
{
    return (call.sdk.*method)(call.address, call.byte(0));
}

template <auto method>
StatusCode getByte(Call& call)
{
    return (call.sdk.*method)(call.address, call.reply.emplace(1).front());
}

template <auto method>
StatusCode getBytes(Call& call)
{
    return (call.sdk.*method)(call.address, call.reply.emplace());
}

template <auto method>
StatusCode getBytesByDefiningByte(Call& call)
{
    return (call.sdk.*method)(call.address, call.reply.emplace(), call.optionalByte(0));
}

StatusCode getMaxWriteLength(Call& call)
{
    std::uint16_t length = 0;
    const StatusCode status = call.sdk.i3cCccGETMWL(call.address, length);
    call.answer(length);
    return status;
}

StatusCode getMaxReadLength(Call& call)
{
    std::uint16_t length = 0;
    std::optional<std::uint8_t> payload;
    const StatusCode status = call.sdk.i3cCccGETMRL(call.address, length, payload);
    call.answer(length);
    if (payload) {
        call.reply->push_back(*payload);
    }
    return status;
}

StatusCode resetActionDirect(Call& call)
{
    if (!call.readsReset()) {
        return call.sdk.i3cCccRSTACTDirect(call.address, call.resetAction(), I3cTransferDirection::WRITE, nullptr);
    }
    return call.sdk.i3cCccRSTACTDirect(call.address, call.resetAction(), I3cTransferDirection::READ,
                                       call.reply.emplace(1).data());
}

void requireResetWrite(const std::vector<std::uint64_t>& values)
{
    if (values[0] > LAST_WRITTEN_RESET) {
        throw UsageError(fmt::format("RSTACT: ACTION 0x{:02x} is read from one target", values[0]),
                         "put the target's @ADDR before it");
    }
}

// ---- The table ----------------------------------------------------------------------------------------------------

struct Argument {
    std::string_view name;
    Range range;
    bool optional = false;
};

struct Code {
    std::string_view name;
    std::string_view description;
    Send broadcast = nullptr;
    Send direct = nullptr;
    std::vector<Argument> arguments{};
    bool takesData = false; // any bytes behind the arguments
    Fields (*decode)(const Bytes& reply) = nullptr;
    std::size_t shortestReply = 0; // that can be decoded
    bool otherReplies = false;     // a first argument but 0 asks for a reply that is not decoded
    bool assigns = false;          // is about addresses, so a bus is not given any before it
    void (*requireBroadcastable)(const std::vector<std::uint64_t>& values) = nullptr; // throws UsageError
};

const std::vector<Code>& codes()
{
    using S = TarvixSDK;
    static const Argument EVENTS{"EVENTS", BYTE};
    static const Argument DEFINING_BYTE{"DEFINING-BYTE", BYTE, true};
    static const std::vector<Code> CODES{
        {.name = "ENEC",
         .description = "Enable events: 1 interrupts, 2 controller role, 8 hot-join, or a sum of them",
         .broadcast = broadcastByte<&S::i3cCccENECBroadcast>,
         .direct = directByte<&S::i3cCccENECDirect>,
         .arguments = {EVENTS}},
        {.name = "DISEC",
         .description = "Disable events, numbered as for ENEC",
         .broadcast = broadcastByte<&S::i3cCccDISECBroadcast>,
         .direct = directByte<&S::i3cCccDISECDirect>,
         .arguments = {EVENTS}},
        {.name = "ENTAS0",
         .description = "Enter activity state 0: at least 1 us between transfers",
         .broadcast = broadcast<&S::i3cCccENTAS0Broadcast>,
         .direct = direct<&S::i3cCccENTAS0Direct>},
        {.name = "ENTAS1",
         .description = "Enter activity state 1: 100 us",
         .broadcast = broadcast<&S::i3cCccENTAS1Broadcast>,
         .direct = direct<&S::i3cCccENTAS1Direct>},
        {.name = "ENTAS2",
         .description = "Enter activity state 2: 2 ms",
         .broadcast = broadcast<&S::i3cCccENTAS2Broadcast>,
         .direct = direct<&S::i3cCccENTAS2Direct>},
        {.name = "ENTAS3",
         .description = "Enter activity state 3: 50 ms",
         .broadcast = broadcast<&S::i3cCccENTAS3Broadcast>,
         .direct = direct<&S::i3cCccENTAS3Direct>},
        {.name = "RSTDAA",
         .description = "Take all dynamic addresses back",
         .broadcast = broadcast<&S::i3cCccRSTDAA>,
         .assigns = true},
        {.name = "ENTDAA",
         .description = "Give every target without one a dynamic address",
         .broadcast = broadcast<&S::i3cCccENTDAA>,
         .assigns = true},
        {.name = "SETDASA",
         .description = "Give the target at static address ADDR the dynamic address NEW",
         .direct = directByte<&S::i3cCccSETDASA>,
         .arguments = {{"NEW", ADDRESS}},
         .assigns = true},
        {.name = "SETNEWDA",
         .description = "Change a dynamic address to NEW",
         .direct = directByte<&S::i3cCccSETNEWDA>,
         .arguments = {{"NEW", ADDRESS}}},
        {.name = "SETAASA",
         .description = "Make all static addresses dynamic ones",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETAASA(c.data); },
         .takesData = true,
         .assigns = true},
        {.name = "SETGRPA",
         .description = "Let a target listen to the group address GROUP",
         .direct = directByte<&S::i3cCccSETGRPADirect>,
         .arguments = {{"GROUP", ADDRESS}}},
        {.name = "RSTGRPA",
         .description = "Dissolve groups: all, those of a target, or a group by its address",
         .broadcast = broadcast<&S::i3cCccRSTGRPABroadcast>,
         .direct = direct<&S::i3cCccRSTGRPADirect>},
        {.name = "SETMWL",
         .description = "Set the maximum write length, in bytes",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETMWLBroadcast(c.word(0)); },
         .direct = [](Call& c) { return c.sdk.i3cCccSETMWLDirect(c.address, c.word(0)); },
         .arguments = {{"LENGTH", WORD}}},
        {.name = "GETMWL",
         .description = "Read the maximum write length",
         .direct = getMaxWriteLength,
         .decode = decodeMaxWriteLength,
         .shortestReply = 2},
        {.name = "SETMRL",
         .description = "Set the maximum read length and interrupt payload, in bytes",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETMRLBroadcast(c.word(0), c.optionalByte(1)); },
         .direct = [](Call& c) { return c.sdk.i3cCccSETMRLDirect(c.address, c.word(0), c.optionalByte(1)); },
         .arguments = {{"LENGTH", WORD}, {"PAYLOAD", BYTE, true}}},
        {.name = "GETMRL",
         .description = "Read the maximum read length and interrupt payload",
         .direct = getMaxReadLength,
         .decode = decodeMaxReadLength,
         .shortestReply = 2},
        {.name = "GETPID",
         .description = "Read the Provisioned ID",
         .direct = getBytes<&S::i3cCccGETPID>,
         .decode = decodePid,
         .shortestReply = 6},
        {.name = "GETBCR",
         .description = "Read the Bus Characteristics Register",
         .direct = getByte<&S::i3cCccGETBCR>,
         .decode = decodeBcr,
         .shortestReply = 1},
        {.name = "GETDCR",
         .description = "Read the Device Characteristics Register",
         .direct = getByte<&S::i3cCccGETDCR>,
         .decode = decodeDcr,
         .shortestReply = 1},
        {.name = "GETSTATUS",
         .description = "Read the status; with a defining byte but 0, the bytes as they are",
         .direct = getBytesByDefiningByte<&S::i3cCccGETSTATUS>,
         .arguments = {DEFINING_BYTE},
         .decode = decodeStatus,
         .shortestReply = 2,
         .otherReplies = true},
        {.name = "GETMXDS",
         .description = "Read the maximum data speed",
         .direct = getBytes<&S::i3cCccGETMXDS>,
         .decode = decodeMaxDataSpeed,
         .shortestReply = 2},
        {.name = "GETCAPS",
         .description = "Read the capabilities; with a defining byte but 0, the bytes as they are",
         .direct = getBytesByDefiningByte<&S::i3cCccGETCAPS>,
         .arguments = {DEFINING_BYTE},
         .decode = decodeCapabilities,
         .shortestReply = 1,
         .otherReplies = true},
        {.name = "SETXTIME",
         .description = "Control timing: 0xdf and 0xef enter the asynchronous modes 0 and 1, 0xff leaves",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETXTIMEBroadcast(c.byte(0), c.optionalData()); },
         .direct = [](Call& c) { return c.sdk.i3cCccSETXTIMEDirect(c.address, c.byte(0), c.optionalData()); },
         .arguments = {{"SUBCOMMAND", BYTE}},
         .takesData = true},
        {.name = "GETXTIME",
         .description = "Read the timing modes, the target's clock and its inaccuracy",
         .direct = getBytes<&S::i3cCccGETXTIME>,
         .decode = decodeTiming,
         .shortestReply = 4},
        {.name = "SETBUSCON",
         .description = "Tell the targets what kind of bus they are on",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETBUSCONBroadcast(c.byte(0), c.optionalData()); },
         .arguments = {{"CONTEXT", BYTE}},
         .takesData = true},
        {.name = "RSTACT",
         .description =
             "Choose what the next target reset pattern resets: 0 nothing, 1 the I3C peripheral, 2 the whole "
             "target, 3 the debug adapter, 4 virtual targets; read from one target with 0x81 to 0x84",
         .broadcast = [](Call& c) { return c.sdk.i3cCccRSTACTBroadcast(c.resetAction()); },
         .direct = resetActionDirect,
         .arguments = {{"ACTION", BYTE}},
         .decode = decodeResetTime,
         .shortestReply = 1,
         .requireBroadcastable = requireResetWrite},
    };
    return CODES;
}

// "SETMRL [@ADDR] LENGTH [PAYLOAD]"
std::string usage(const Code& code)
{
    std::string text(code.name);
    if (code.direct != nullptr) {
        text += code.broadcast != nullptr ? " [@ADDR]" : " @ADDR";
    }
    for (const Argument& argument : code.arguments) {
        text += fmt::format(fmt::runtime(argument.optional ? " [{}]" : " {}"), argument.name);
    }
    return code.takesData ? text + " [DATA...]" : text;
}

std::string allCodes()
{
    constexpr std::size_t WIDTH = 74;
    std::string text = "Codes, and what they take (@ADDR: to one target instead of all):";
    for (const Code& code : codes()) {
        text += fmt::format("\n  {}\n", usage(code));
        std::string line = "     ";
        std::string_view rest = code.description;
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find(' '), rest.size());
            if (line.size() + 1 + end > WIDTH) {
                text += line + "\n";
                line = "     ";
            }
            line += fmt::format(" {}", rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        text += line;
    }
    return text;
}

const Code& findCode(const std::string& text)
{
    std::string name = text;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
    for (const Code& code : codes()) {
        if (code.name == name) {
            return code;
        }
    }
    throw UsageError(fmt::format("NAME: '{}' is no Common Command Code of this tool", name),
                     "see 'tarvix i3c ccc --help' for all of them");
}

// ---- The command --------------------------------------------------------------------------------------------------

struct CccOptions {
    std::string name;
    std::vector<std::string> words;
};

// The words behind the name: first @ADDR.
std::optional<std::uint8_t> takeAddress(const Code& code, std::vector<std::string>& words)
{
    if (words.empty() || !words.front().starts_with('@')) {
        if (code.broadcast == nullptr) {
            throw UsageError(fmt::format("{}: has no broadcast form", code.name), fmt::format("write {}", usage(code)));
        }
        return std::nullopt;
    }
    if (code.direct == nullptr) {
        throw UsageError(fmt::format("{}: '{}': has no direct form", code.name, words.front()),
                         fmt::format("write {}", usage(code)));
    }
    const auto address = static_cast<std::uint8_t>(parseNumber("@ADDR", words.front().substr(1), ADDRESS));
    words.erase(words.begin());
    return address;
}

std::vector<std::uint64_t> takeValues(const Code& code, std::vector<std::string>& words)
{
    std::vector<std::uint64_t> values;
    for (const Argument& argument : code.arguments) {
        if (words.empty() && argument.optional) {
            break;
        }
        if (words.empty()) {
            throw UsageError(fmt::format("{}: {} is missing", code.name, argument.name),
                             fmt::format("write {}", usage(code)));
        }
        values.push_back(parseNumber(argument.name, words.front(), argument.range));
        words.erase(words.begin());
    }
    if (!words.empty() && !code.takesData) {
        throw UsageError(fmt::format("{}: nothing is known to do with '{}'", code.name, words.front()),
                         fmt::format("write {}", usage(code)));
    }
    return values;
}

void printReply(Context& context, const Code& code, const Call& call, Json fields)
{
    const Bytes& reply = *call.reply;
    std::string text = toHexWords(reply);
    fields["data"] = toHex(reply);
    if (!code.otherReplies || call.values.empty() || call.values.front() == 0) {
        if (reply.size() < code.shortestReply) {
            throw Failure(ExitStatus::REFUSED,
                          fmt::format("{} of 0x{:02x}: {} of {} bytes came", code.name, call.address, reply.size(),
                                      code.shortestReply),
                          "the target's answer is too short: repeat the command");
        }
        for (const Field& field : code.decode(reply)) {
            text += fmt::format("\n{}: {}", field.label, field.text);
            fields["decoded"][jsonKey(field.label)] = field.value;
        }
    }
    context.output().print(text, fields);
}

void ccc(Context& context, const CccOptions& options)
{
    constexpr std::size_t MAX_DATA = 254; // the length is a byte and may count an argument
    const Code& code = findCode(options.name);
    std::vector<std::string> words = options.words;
    const std::optional<std::uint8_t> address = takeAddress(code, words);
    const std::vector<std::uint64_t> values = takeValues(code, words);
    if (!address && code.requireBroadcastable != nullptr) {
        code.requireBroadcastable(values);
    }
    const Bytes data = readData("DATA", words, MAX_DATA, true);

    ensureI3cBus(context, code.assigns ? Unassigned::STAY : Unassigned::GET_ADDRESSES);
    Call call{context.sdk(), address.value_or(0), values, data, std::nullopt};
    const StatusCode status = address ? code.direct(call) : code.broadcast(call);
    checkTransfer(context, status,
                  address ? fmt::format("{} of 0x{:02x}", code.name, *address) : std::string(code.name),
                  "nobody is there, or it does not support this: see 'tarvix i3c table'");
    Json fields{{"ccc", code.name}};
    if (address) {
        fields["address"] = *address;
    }
    if (call.reply) {
        printReply(context, code, call, fields);
    } else {
        context.output().print({}, fields);
    }
}

} // namespace

std::vector<std::string> bcrFeatures(std::uint8_t bcr)
{
    return bitsSet(bcr, {{0, "speed limit"},
                         {1, "interrupts"},
                         {2, "interrupt payload"},
                         {3, "offline-capable"},
                         {4, "virtual targets"},
                         {5, "advanced capabilities"}});
}

void addCccCommand(Commands& i3c)
{
    auto [app, options] = i3c.add<CccOptions>(
        "ccc", "Send a Common Command Code, and print the reply decoded", ccc,
        {"tarvix i3c ccc GETPID @0x08", "tarvix i3c ccc SETMRL @0x08 64 16", "tarvix i3c ccc DISEC 0x01",
         "tarvix i3c ccc SETDASA @0x30 0x0a && tarvix i3c ccc GETBCR @0x0a --json"});
    app.add_option("NAME", options.name, "Code, such as GETPID")->required();
    app.add_option("ARGUMENT", options.words, "@ADDR and values, as below; DATA is " + std::string(DATA_HELP));
    app.footer(allCodes() + "\n\n" + app.get_footer());
}

} // namespace tool
