// What the tool parses and prints: batch lines, data, messages, numbers, quantities, foreign text, replies.
#include "arguments/words.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "commands/i2c/messages.hpp"
#include "commands/i3c/replies.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "fuzz.hpp"
#include "ports/shared/utf8.hpp"

namespace {

// Without those that name a file of this machine.
std::vector<std::string> wordsOf(const std::string& line)
{
    std::vector<std::string> words = tool::splitWords(line);
    std::erase_if(words, [](const std::string& word) { return word == "-" || word.starts_with('@'); });
    return words;
}

// No control characters, none that changes the direction of writing, and UTF-8.
void requireSilent(const std::string& shown)
{
    const auto wide = sim::fromUtf8(shown);
    fuzz::require(wide && std::ranges::none_of(*wide,
                                               [](wchar_t c) {
                                                   return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x061C ||
                                                          (c >= 0x200E && c <= 0x200F) ||
                                                          (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
                                               }),
                  "a terminal is told nothing");
}

using Reply = std::pair<std::size_t, tool::Fields (*)(const Bytes&)>; // and the bytes that it has at least
constexpr Reply REPLIES[]{{2, tool::decodeMaxWriteLength},
                          {2, tool::decodeMaxReadLength},
                          {6, tool::decodePid},
                          {1, tool::decodeBcr},
                          {1, tool::decodeDcr},
                          {2, tool::decodeStatus},
                          {2, tool::decodeMaxDataSpeed},
                          {2, tool::decodeCapabilities},
                          {4, tool::decodeTiming},
                          {1, tool::decodeResetTime}};

void (*const USES[])(const std::string& text){
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
    [](auto& text) { requireSilent(terminal::printable(text)); },
    [](auto& text) {
        for (const auto& [least, decode] : REPLIES) {
            text.size() >= least ? void(decode(fuzz::bytesOf(text))) : void();
        }
    },
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const auto use = USES[input.u8() % std::size(USES)];
    const Bytes bytes = input.rest();
    try {
        use({bytes.begin(), bytes.end()});
    } catch (const tool::UsageError& error) {
        fuzz::require(*error.what() != '\0', "an error says what is wrong");
    }
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    std::vector<Bytes> seeds;
    for (const std::string text :
         {"i2c read 0x50 --length 16 # comment", "write \"a b\" 'c \\' d\\ e", "w2@0x50 0x12 34 r5@80", "0b1010000",
          "400k", "12.5MHz", "1.5s", "500ms", "3.3V", "3300mV", "deadbeef 0x5 5 12", "18446744073709551616", "-1",
          "1e400", "0x", "\x1B[31m \xC2\x9B \xE2\x80\xAE"}) {
        for (std::uint8_t use = 0; use < std::size(USES); ++use) {
            seeds.push_back(Bytes{use} + bytesOf(text));
        }
    }
    return seeds;
}
