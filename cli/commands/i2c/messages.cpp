#include "commands/i2c/messages.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "arguments/numbers.hpp"
#include "arguments/transfers.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

bool beginsMessage(std::string_view word)
{
    return word.starts_with('r') || word.starts_with('w');
}

Message parseDescriptor(const std::string& word, const Message* before)
{
    Message message{.reads = word.front() == 'r', .text = word};
    const auto at = word.find('@');
    message.length = parseNumber(word, word.substr(1, at == std::string::npos ? at : at - 1), {0, MAX_TRANSFER});
    if (at != std::string::npos) {
        message.address = static_cast<std::uint8_t>(parseNumber(word, word.substr(at + 1), ADDRESS));
    } else if (before != nullptr) {
        message.address = before->address;
    } else {
        throw UsageError(fmt::format("DESCRIPTOR: '{}' has no address", word), "write " + word + "@0x50");
    }
    return message;
}

// What i2ctransfer's suffixes make of the last byte given, for the rest of the message.
std::uint8_t successor(char suffix, std::uint8_t byte)
{
    switch (suffix) {
    case '+':
        return static_cast<std::uint8_t>(byte + 1);
    case '-':
        return static_cast<std::uint8_t>(byte - 1);
    case 'p': // pseudo-random
        return static_cast<std::uint8_t>((byte ^ 27) + 13);
    default:
        return byte;
    }
}

void fillData(Message& message, std::vector<std::string> words)
{
    const std::string what = "DATA of " + message.text;
    char suffix = 0;
    if (!words.empty()) {
        std::string& last = words.back();
        const bool isNumber = !last.empty() && last.front() >= '0' && last.front() <= '9';
        if (isNumber && std::string_view("=+-p").find(last.back()) != std::string::npos) {
            suffix = last.back();
            last.pop_back();
        }
    }
    message.data = readData(what, words, MAX_TRANSFER, true);
    while (suffix != 0 && !message.data.empty() && message.data.size() < message.length) {
        message.data.push_back(successor(suffix, message.data.back()));
    }
    if (message.data.size() != message.length) {
        throw UsageError(fmt::format("{}: {} byte{} given, {} expected", what, message.data.size(),
                                     message.data.size() == 1 ? "" : "s", message.length));
    }
}

// The adapter joins at most a register address and a read without a stop between them.
void requireOneCall(const std::vector<Message>& messages)
{
    const char* const APART = "run them as separate commands, with a stop between them";
    if (messages.size() > 2) {
        throw UsageError(
            fmt::format("DESCRIPTOR: the adapter cannot join {} messages, only a write and a read", messages.size()),
            APART);
    }
    if (messages.size() < 2) {
        return;
    }
    const Message& first = messages[0];
    const Message& second = messages[1];
    if (first.reads || !second.reads) {
        throw UsageError(
            fmt::format("DESCRIPTOR: the adapter cannot join '{}' and '{}', only a write followed by a read",
                        first.text, second.text),
            APART);
    }
    if (first.address != second.address) {
        throw UsageError(fmt::format("DESCRIPTOR: '{}' and '{}' address different targets", first.text, second.text),
                         APART);
    }
    if (first.length > 4) {
        throw UsageError(fmt::format("DESCRIPTOR: '{}': before a read the adapter writes at most 4 bytes", first.text),
                         APART);
    }
}

} // namespace

std::vector<Message> parseMessages(const std::vector<std::string>& words)
{
    std::vector<Message> messages;
    for (auto word = words.begin(); word != words.end();) {
        if (!beginsMessage(*word)) {
            throw UsageError(fmt::format("DESCRIPTOR: '{}' is not a message such as w1@0x50 or r16", *word),
                             messages.empty() ? "start with a message" : "a read takes no data");
        }
        messages.push_back(parseDescriptor(*word, messages.empty() ? nullptr : &messages.back()));
        const auto end = messages.back().reads ? word + 1 : std::find_if(word + 1, words.end(), beginsMessage);
        if (!messages.back().reads) {
            fillData(messages.back(), {word + 1, end});
        }
        word = end;
    }
    requireOneCall(messages);
    return messages;
}

} // namespace tool
