// tarvix i3c ccc: Common Command Codes.
#include "commands/i3c/ccc.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "commands/i3c/bus.hpp"
#include "commands/i3c/codes.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

std::string allCodes()
{
    constexpr std::size_t WIDTH = 74;
    std::string text = "Codes and their arguments (@ADDR: one target instead of all):";
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

struct CccOptions {
    std::string name;
    std::vector<std::string> words;
    std::optional<std::uint8_t> read; // bytes
    std::optional<std::uint8_t> definingByte;
};

constexpr std::size_t MAX_DATA = 254; // the length is a byte and may count an argument

std::uint8_t parseTargetAddress(std::string_view word)
{
    return static_cast<std::uint8_t>(parseNumber("@ADDR", word.substr(1), ADDRESS));
}

void print(Context& context, const std::string& code, std::optional<std::uint8_t> address,
           const std::optional<Bytes>& reply)
{
    Json fields{{"ccc", code}};
    if (address) {
        fields["address"] = *address;
    }
    if (reply) {
        fields["data"] = toHex(*reply);
    }
    context.output().print(reply ? toHexWords(*reply) : std::string(), fields);
}

void send(Context& context, const std::string& code, std::optional<std::uint8_t> address,
          const std::function<StatusCode()>& transfer)
{
    context.checkTransfer(transfer(), address ? fmt::format("{} of 0x{:02x}", code, *address) : code,
                          "no such target, or it does not support this code: see 'tarvix i3c table'");
}

// ---- By number ----------------------------------------------------------------------------------------------------

// The number says which form a code has.
constexpr std::uint8_t FIRST_DIRECT = 0x80;
constexpr std::uint8_t BROADCAST_ADDRESS = 0x7E;

void requireForm(std::uint8_t code, bool hasAddress, const CccOptions& options)
{
    if (code >= FIRST_DIRECT && !hasAddress) {
        throw UsageError(fmt::format("{}: a code from 0x80 on is for one target", options.name),
                         fmt::format("write {} @ADDR", options.name));
    }
    if (code < FIRST_DIRECT && (hasAddress || options.read)) {
        throw UsageError(fmt::format("{}: a code below 0x80 is a broadcast and takes no {}", options.name,
                                     hasAddress ? "@ADDR" : "--read"),
                         "codes for one target begin at 0x80");
    }
}

void sendByNumber(Context& context, const CccOptions& options)
{
    const auto code = static_cast<std::uint8_t>(parseNumber("CODE", options.name, BYTE));
    std::vector<std::string> words = options.words;
    std::optional<std::uint8_t> address;
    const bool hasAddress = !words.empty() && words.front().starts_with('@') && words.front() != "@-";
    requireForm(code, hasAddress, options);
    if (hasAddress) {
        address = parseTargetAddress(words.front());
        words.erase(words.begin());
    }
    const Bytes data = readData("DATA", words, MAX_DATA, true);
    if (options.read && !data.empty()) {
        throw UsageError("--read: a read takes no DATA", "give a byte after the code with --defining-byte");
    }
    Bytes received;
    ensureI3cBus(context, Unassigned::GET_ADDRESSES);
    send(context, options.name, address, [&] {
        return context.sdk().i3cCccTransfer(
            address.value_or(BROADCAST_ADDRESS),
            options.read ? I3cTransferDirection::READ : I3cTransferDirection::WRITE, I3cTransferMode::SDR, false,
            options.definingByte ? I3cCccType::WITH_DEFINING_BYTE : I3cCccType::WITHOUT_DEFINING_BYTE,
            options.read.value_or(static_cast<std::uint8_t>(data.size())), static_cast<CCC>(code),
            options.definingByte.value_or(0), data, received);
    });
    print(context, options.name, address, options.read ? std::optional(received) : std::nullopt);
}

// ---- By name ------------------------------------------------------------------------------------------------------

// @ADDR, if it is the first word after the name.
std::optional<std::uint8_t> takeAddress(const Code& code, std::vector<std::string>& words)
{
    if (words.empty() || !words.front().starts_with('@')) {
        if (code.broadcast == nullptr) {
            throw UsageError(fmt::format("{} has no broadcast form", code.name), fmt::format("write {}", usage(code)));
        }
        return std::nullopt;
    }
    if (code.direct == nullptr) {
        throw UsageError(fmt::format("{} has no direct form: unexpected '{}'", code.name, words.front()),
                         fmt::format("write {}", usage(code)));
    }
    const std::uint8_t address = parseTargetAddress(words.front());
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
        throw UsageError(fmt::format("{}: unexpected argument '{}'", code.name, words.front()),
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
                          fmt::format("{} of 0x{:02x}: received {} of {} bytes", code.name, call.address, reply.size(),
                                      code.shortestReply),
                          "the reply is too short: retry");
        }
        for (const Field& field : code.decode(reply)) {
            text += fmt::format("\n{}: {}", field.label, field.text);
            fields["decoded"][jsonKey(field.label)] = field.value;
        }
    }
    context.output().print(text, fields);
}

void sendByName(Context& context, const CccOptions& options)
{
    const Code& code = findCode(options.name);
    if (options.read || options.definingByte) {
        throw UsageError(fmt::format("{}: for codes given by number", options.read ? "--read" : "--defining-byte"),
                         fmt::format("write {}", usage(code)));
    }
    std::vector<std::string> words = options.words;
    const std::optional<std::uint8_t> address = takeAddress(code, words);
    const std::vector<std::uint64_t> values = takeValues(code, words);
    if (!address && code.requireBroadcastable != nullptr) {
        code.requireBroadcastable(values);
    }
    const Bytes data = readData("DATA", words, MAX_DATA, true);

    ensureI3cBus(context, code.assigns ? Unassigned::STAY : Unassigned::GET_ADDRESSES);
    Call call{context.sdk(), address.value_or(0), values, data, std::nullopt};
    send(context, std::string(code.name), address, [&] { return address ? code.direct(call) : code.broadcast(call); });
    if (call.reply) {
        printReply(context, code, call, {{"ccc", code.name}, {"address", call.address}});
    } else {
        print(context, std::string(code.name), address, std::nullopt);
    }
}

void ccc(Context& context, const CccOptions& options)
{
    const bool isNumber = options.name.find_first_of("0123456789") == 0;
    isNumber ? sendByNumber(context, options) : sendByName(context, options);
}

} // namespace

void addCccCommand(Commands& i3c)
{
    auto [app, options] = i3c.add<CccOptions>(
        "ccc", "Send a Common Command Code, by name or by number, and print the reply", ccc,
        {"tarvix i3c ccc GETPID @0x08", "tarvix i3c ccc SETMRL @0x08 64 16", "tarvix i3c ccc DISEC 0x01",
         "tarvix i3c ccc 0x90 @0x08 --read 2", "tarvix i3c ccc 0x9a @0x08 --defining-byte 0x02",
         "tarvix i3c ccc SETDASA @0x30 0x0a && tarvix i3c ccc GETBCR @0x0a --json"},
        "By number (0x90), any code goes out as it is and nothing is decoded: below 0x80 to all\n"
        "targets, CODE [DATA...]; from 0x80 on to one, CODE @ADDR [DATA...]. --read reads from it\n"
        "instead of writing DATA; --defining-byte puts a byte right behind the code.\n\n" +
            allCodes());
    addText(app, "CODE", options.name, "Name or number, such as GETPID or 0x8d").required();
    addTexts(app, "ARGUMENT", options.words, "@ADDR and values, as listed below; DATA: " + std::string(DATA_HELP));
    addNumber(app, "-r,--read", options.read, BYTE, "Of a code given by number: how many bytes to read");
    addNumber(app, "--defining-byte", options.definingByte, BYTE, "Of a code given by number: its defining byte");
}

} // namespace tool
