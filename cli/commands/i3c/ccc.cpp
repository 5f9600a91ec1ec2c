// tarvix i3c ccc: Common Command Codes by name.
#include "commands/i3c/ccc.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
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
};

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
    context.checkTransfer(status, address ? fmt::format("{} of 0x{:02x}", code.name, *address) : std::string(code.name),
                          "no such target, or it does not support this code: see 'tarvix i3c table'");
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

void addCccCommand(Commands& i3c)
{
    auto [app, options] = i3c.add<CccOptions>(
        "ccc", "Send a Common Command Code and print the decoded reply", ccc,
        {"tarvix i3c ccc GETPID @0x08", "tarvix i3c ccc SETMRL @0x08 64 16", "tarvix i3c ccc DISEC 0x01",
         "tarvix i3c ccc SETDASA @0x30 0x0a && tarvix i3c ccc GETBCR @0x0a --json"},
        allCodes());
    addText(app, "NAME", options.name, "Code name, such as GETPID").required();
    addTexts(app, "ARGUMENT", options.words, "@ADDR and values, as listed below; DATA: " + std::string(DATA_HELP));
}

} // namespace tool
