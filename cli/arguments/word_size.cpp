#include "arguments/word_size.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "arguments/numbers.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

constexpr unsigned LONGEST_WORD = 8; // bytes

const Choices<std::optional<ByteOrder>> ORDERS{{"big", ByteOrder::BIG}, {"little", ByteOrder::LITTLE}};

// Between the order on the bus and the most significant byte first.
void arrange(std::span<std::uint8_t> word, const WordOptions& options)
{
    if (options.order == ByteOrder::LITTLE) {
        std::reverse(word.begin(), word.end());
    }
}

} // namespace

void addWordOptions(CLI::App& app, WordOptions& options, const char* purpose)
{
    addNumber(app, "-w,--word", options.bytes, {1, LONGEST_WORD}, purpose);
    addChoice(app, "--order", options.order, ORDERS, "Which byte of a word comes first on the bus; big by default");
}

void requireWords(const WordOptions& options)
{
    if (options.order && !options.bytes) {
        throw UsageError("--order: needs --word", "say how many bytes a word has");
    }
}

Bytes readWords(std::string_view what, const std::vector<std::string>& words, std::size_t limit,
                const WordOptions& options)
{
    requireWords(options);
    if (!options.bytes) {
        return readData(what, words, limit);
    }
    const Range range{0, ~std::uint64_t{0} >> (8 * (LONGEST_WORD - options.size()))};
    Bytes bytes;
    for (const std::string& text : words) {
        const std::uint64_t number = parseNumber(what, text, range);
        for (std::size_t i = options.size(); i > 0; --i) {
            bytes.push_back(static_cast<std::uint8_t>(number >> (8 * (i - 1))));
        }
        arrange(std::span(bytes).last(options.size()), options);
    }
    if (bytes.empty() || bytes.size() > limit) {
        throw UsageError(bytes.empty() ? fmt::format("{}: no words given", what)
                                       : fmt::format("{}: more than {} bytes", what, limit));
    }
    return bytes;
}

std::vector<std::uint64_t> toNumbers(std::span<const std::uint8_t> bytes, const WordOptions& options)
{
    std::vector<std::uint64_t> numbers;
    for (; bytes.size() >= options.size(); bytes = bytes.subspan(options.size())) {
        Bytes word(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(options.size()));
        arrange(word, options);
        std::uint64_t& number = numbers.emplace_back(0);
        for (const std::uint8_t byte : word) {
            number = number << 8 | byte;
        }
    }
    return numbers;
}

std::string wordText(std::uint64_t number, const WordOptions& options)
{
    return fmt::format("0x{:0{}x}", number, 2 * options.size());
}

} // namespace tool
