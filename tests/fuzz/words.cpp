// What the tool parses and prints: batch lines, data, messages, numbers, quantities, foreign text, replies.
#include "arguments/words.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "commands/i2c/messages.hpp"
#include "commands/i3c/codes.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "fuzz.hpp"
#include "ports/shared/utf8.hpp"

// Without those that name a file of this machine.
static std::vector<std::string> wordsOf(const std::string& line)
{
    std::vector<std::string> words = tool::splitWords(line);
    std::erase_if(words, [](const std::string& word) { return word.starts_with('@'); });
    return words;
}

// Control characters, and those that change the direction of writing.
static bool steersTerminal(wchar_t c)
{
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x061C || (c >= 0x200E && c <= 0x200F) ||
           (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

static void (*const USES[])(const std::string& text){
    [](auto& text) { tool::splitWords(text); },
    [](auto& text) {
        const bool quotable = text.find('\'') == std::string::npos;
        fuzz::require(!quotable || tool::splitWords(" '" + text + "' # ") == std::vector{text}, "quotes keep a word");
    },
    [](auto& text) { fuzz::require(tool::readData("DATA", wordsOf(text), 300).size() <= 300, "data has a limit"); },
    [](auto& text) { tool::parseMessages(wordsOf(text)); },
    [](auto& text) { fuzz::require(tool::parseNumber("N", text, tool::BYTE) <= 0xFF, "a number is in its range"); },
    [](auto& text) {
        tool::parseFrequency("HZ", text, {1, 50'000'000});
    },
    [](auto& text) { fuzz::require(tool::parsePeriod("MS", text).count() >= 0, "a period is no debt"); },
    [](auto& text) { tool::parseVoltage("MV", text); },
    [](auto& text) {
        const auto shown = sim::fromUtf8(terminal::printable(text));
        fuzz::require(shown && std::ranges::none_of(*shown, steersTerminal), "a terminal is told nothing");
    },
    [](auto& text) {
        for (const tool::Code& code : tool::codes()) {
            code.decode&& text.size() >= code.shortestReply ? void(code.decode({text.begin(), text.end()})) : void();
        }
    },
};

void fuzz::run(Input input)
{
    const auto use = USES[input.u8() % std::size(USES)];
    const Bytes bytes = input.rest();
    try {
        use({bytes.begin(), bytes.end()});
    } catch (const tool::UsageError& error) {
        require(*error.what() != '\0', "an error says what is wrong");
    }
}
