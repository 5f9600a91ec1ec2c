// tarvix i2c get
#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "arguments/word_size.hpp"
#include "commands/i2c/commands.hpp"
#include "commands/i2c/port.hpp"
#include "commands/polling.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

struct GetOptions {
    I2cPortOptions port;
    std::uint8_t address = 0;
    ReadOptions what;
    WordOptions words;
    PollOptions poll;
};

std::uint64_t lengthInBytes(const GetOptions& options)
{
    const std::uint64_t length = options.what.length * options.words.size();
    if (length > MAX_TRANSFER) {
        throw UsageError(fmt::format("--length: {} words are more than {} bytes", options.what.length, MAX_TRANSFER));
    }
    return length;
}

void validate(const GetOptions& options)
{
    requireWords(options.words);
    if (options.what.raw && (options.words.bytes || options.poll.every)) {
        throw UsageError(fmt::format("--raw: cannot be combined with {}", options.words.bytes ? "--word" : "--every"),
                         "use one of them");
    }
    const bool polls = options.poll.count || options.poll.csv || options.poll.plot;
    if (polls && !options.poll.every) {
        throw UsageError("--count, --csv and --plot need --every", "add --every 1s, or use --length for several bytes");
    }
}

// Bytes in a row, or a word a line.
Sample sampleOf(const GetOptions& options, const Bytes& bytes, Json fields)
{
    const std::vector<std::uint64_t> numbers = toNumbers(bytes, options.words);
    std::string text = toHexWords(bytes);
    if (options.words.bytes) {
        std::vector<std::string> words;
        for (const std::uint64_t number : numbers) {
            words.push_back(wordText(number, options.words));
        }
        text = fmt::format("{}", fmt::join(words, options.poll.every ? " " : "\n"));
        fields["values"] = numbers;
    }
    fields["data"] = toHex(bytes);
    return {text, {numbers.begin(), numbers.end()}, fields};
}

// A byte or word each, by the register that it comes from.
std::vector<std::string> columnsOf(const GetOptions& options, std::uint64_t first)
{
    std::vector<std::string> columns;
    for (std::uint64_t i = 0; i < options.what.length; ++i) {
        columns.push_back(fmt::format("0x{:0{}x}", first + i * options.words.size(), 2 * options.what.reg.bytes));
    }
    return columns;
}

void get(Context& context, const GetOptions& options)
{
    validate(options);
    const ReadPosition position(options.what.reg);
    const std::uint64_t length = lengthInBytes(options);
    const Json fields{{"bus", options.port.bus}, {"address", options.address}, {"offset", position.offset}};
    setUpPort(context, options.port);
    const auto read = [&] {
        return readTarget(context, options.port, options.address, position.registerAddress, length);
    };
    if (options.poll.every) {
        pollReads(context, options.poll, columnsOf(options, position.offset),
                  [&] { return sampleOf(options, read(), fields); });
    } else if (options.words.bytes) {
        const Sample sample = sampleOf(options, read(), fields);
        context.output().print(sample.text, sample.fields);
    } else {
        context.output().printData(read(), position.offset, fields, options.what.raw);
    }
}

} // namespace

void addGetCommand(Commands& i2c)
{
    auto [app, options] = i2c.add<GetOptions>(
        "get", "Read bytes in one transfer, from a register or the current position", get,
        {"tarvix i2c get 0x48 0 -n 2", "tarvix i2c get 0x48 0 --word 2", "tarvix i2c get 0x50 0x10 -n 16",
         "tarvix i2c get 0x48 0 --word 2 --every 100ms --count 3 --csv",
         "tarvix i2c get --bus 1 --reg-bytes 2 0x51 0x0100 -n 4 --raw | od -t x1"});
    addTargetAddress(app, options.address);
    addReadOptions(app, options.what);
    addWordOptions(app, options.words, "Read words of this many bytes and print their values; --length counts them");
    addPollOptions(app, options.poll, "--count");
    addPortOptions(app, options.port);
}

} // namespace tool
