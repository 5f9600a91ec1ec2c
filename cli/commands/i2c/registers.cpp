#include "commands/i2c/registers.hpp"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/pieces.hpp"
#include "adapter/statuses.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "arguments/word_size.hpp"
#include "commands/i2c/each.hpp"
#include "commands/i2c/pages.hpp"
#include "commands/i2c/port.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

Carriage carriageOf(const I2cPortOptions& port)
{
    constexpr unsigned CLOCKS_PER_BYTE = 9; // with the acknowledge
    constexpr std::size_t ANSWER_OVERHEAD = 9;
    return {port.clock, CLOCKS_PER_BYTE, ANSWER_OVERHEAD};
}

// ---- get ----------------------------------------------------------------------------------------------------------

struct GetOptions {
    I2cPortOptions port;
    std::uint8_t address = 0;
    ReadOptions what;
    WordOptions words;
};

void printWords(Output& output, const Bytes& bytes, const WordOptions& words, Json fields)
{
    std::string text;
    for (const std::uint64_t number : toNumbers(bytes, words)) {
        text += wordText(number, words) + "\n";
        fields["values"].push_back(number);
    }
    fields["data"] = toHex(bytes);
    output.print(text, fields);
}

void get(Context& context, const GetOptions& options)
{
    requireWords(options.words);
    const ReadPosition position(options.what.reg);
    const std::uint64_t length = options.what.length * options.words.size();
    if (length > MAX_TRANSFER) {
        throw UsageError(fmt::format("--length: {} words are more than {} bytes", options.what.length, MAX_TRANSFER));
    }
    if (options.words.bytes && options.what.raw) {
        throw UsageError("--raw: cannot be combined with --word", "use one of them");
    }
    setUpPort(context, options.port);
    const Bytes bytes = readTarget(context, options.port, options.address, position.registerAddress, length);
    const Json fields{{"bus", options.port.bus}, {"address", options.address}, {"offset", position.offset}};
    if (options.words.bytes) {
        printWords(context.output(), bytes, options.words, fields);
    } else {
        context.output().printData(bytes, position.offset, fields, options.what.raw);
    }
}

// ---- dump ---------------------------------------------------------------------------------------------------------

struct DumpOptions {
    I2cPortOptions port;
    std::uint8_t address = 0;
    RegisterOptions reg{.text = "0"};
    std::optional<std::uint64_t> length;
    bool each = false;
    bool raw = false;
};

void printEach(Output& output, const EachRegister& read, std::uint64_t first, Json fields)
{
    fields["data"] = toHex(read.bytes);
    for (const std::uint64_t position : read.absent) {
        fields["absent"].push_back(first + position);
    }
    output.print(hexdump(read.bytes, first, read.absent), fields);
}

void dump(Context& context, const DumpOptions& options)
{
    const std::uint64_t first = registerNumber(options.reg);
    const std::uint64_t available = (std::uint64_t{1} << (8 * options.reg.bytes)) - first;
    const std::uint64_t length = options.length.value_or(std::min<std::uint64_t>(256, available));
    requireAddressable("--length", first, length, options.reg.bytes);
    if (options.each && options.raw) {
        throw UsageError("--raw: cannot be combined with --each, which may find registers without a value",
                         "use --json");
    }
    setUpPort(context, options.port);
    const Json fields{{"bus", options.port.bus}, {"address", options.address}, {"offset", first}};
    if (options.each) {
        printEach(context.output(), readEach(context, options.port, options.address, first, length, options.reg.bytes),
                  first, fields);
        return;
    }
    printInPieces(
        context, fmt::format("dumping 0x{:02x}", options.address), length, carriageOf(options.port),
        [&](auto done, auto count) {
            return readTarget(context, options.port, options.address, encodeRegister(first + done, options.reg.bytes),
                              count);
        },
        first, fields, options.raw);
}

// ---- set ----------------------------------------------------------------------------------------------------------

struct SetOptions {
    I2cPortOptions port;
    std::uint8_t address = 0;
    WriteOptions what;
    WordOptions words;
    std::string mask;
    bool verify = false;
    std::optional<std::uint64_t> page;
    unsigned inFlight = 1;
    bool wrap = false;
};

// How long a memory may be busy with what was written.
constexpr std::chrono::milliseconds BUSY_LIMIT{100};

void validate(const SetOptions& options, const Written& written)
{
    constexpr std::size_t SMALLEST_PAGE = 8;
    if (!options.page && options.inFlight > 1) {
        throw UsageError("--in-flight: needs --page", "give the memory's page size");
    }
    for (const auto& [given, name] : {std::pair{options.page.has_value(), "--page"},
                                      {!options.mask.empty(), "--mask"},
                                      {options.verify, "--verify"}}) {
        if (given && options.what.reg.bytes == 0) {
            throw UsageError(fmt::format("{}: needs a REGISTER", name), fmt::format("omit {} or --reg-bytes 0", name));
        }
    }
    if (options.wrap || options.what.reg.bytes == 0) {
        return;
    }
    requireAddressable("DATA", written.reg, written.data.size(), options.what.reg.bytes);
    // A memory takes at most a page in one transfer, and goes on at the page's beginning. Nobody knows the pages of
    // what is out there, but the smallest are known.
    if (!options.page && written.data.size() > SMALLEST_PAGE) {
        throw UsageError(fmt::format("DATA: a memory would wrap {} bytes within its page", written.data.size()),
                         "add --page 8, or the memory's own page size; or --wrap if the target is no memory");
    }
}

// The bits to write, as many as `data` has; all without --mask. A mask of one byte or word is for each of the data.
Bytes maskFor(const SetOptions& options, const Bytes& data)
{
    if (options.mask.empty()) {
        return Bytes(data.size(), 0xFF);
    }
    Bytes mask = readWords("--mask", {options.mask}, MAX_TRANSFER, options.words);
    if (mask.size() != data.size() && mask.size() != options.words.size()) {
        throw UsageError(fmt::format("--mask: {} bytes for {} bytes of DATA", mask.size(), data.size()),
                         "give one for all, or as many as DATA has");
    }
    for (std::size_t i = mask.size(); i < data.size(); ++i) {
        mask.push_back(mask[i - options.words.size()]);
    }
    return mask;
}

// A memory that is still busy with what it got does not acknowledge: for `busyLimit` that is no failure.
Bytes readRange(Context& context, const SetOptions& options, const Written& written,
                std::chrono::milliseconds busyLimit = {})
{
    const auto deadline = std::chrono::steady_clock::now() + busyLimit;
    const auto readPiece = [&](std::uint64_t done, std::size_t count) {
        const Bytes registerAddress = encodeRegister(written.reg + done, options.what.reg.bytes);
        Bytes bytes;
        StatusCode status = StatusCode::SUCCESS;
        do {
            status = context.sdk().i2cRead(options.port.index(), options.address, registerAddress,
                                           static_cast<std::uint16_t>(count), bytes, false);
        } while (isStatus(status, DeviceStatus::NACK) && std::chrono::steady_clock::now() < deadline);
        checkRead(context, status, options.port, options.address);
        return bytes;
    };
    return readInPieces(context, fmt::format("reading 0x{:02x}", options.address), written.data.size(),
                        carriageOf(options.port), readPiece);
}

// Reads the data back and says where they differ, as bytes or words.
void verify(Context& context, const SetOptions& options, const Written& written, const Bytes& mask)
{
    Bytes bytes = readRange(context, options, written, BUSY_LIMIT);
    Bytes expected = written.data;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] &= mask[i];
        expected[i] &= mask[i];
    }
    const auto difference = std::mismatch(expected.begin(), expected.end(), bytes.begin()).first;
    if (difference == expected.end()) {
        return;
    }
    const auto at = static_cast<std::size_t>(difference - expected.begin()) / options.words.size();
    const auto value = [&](const Bytes& all) { return wordText(toNumbers(all, options.words)[at], options.words); };
    throw Failure(ExitStatus::REFUSED,
                  fmt::format("0x{:02x} on bus {}, register 0x{:0{}x}: wrote {}, read back {}", options.address,
                              options.port.bus, written.reg + at * options.words.size(), 2 * options.what.reg.bytes,
                              value(expected), value(bytes)),
                  "is the register writable, does the memory wrap or protect it? --mask compares some bits only");
}

void writeData(Context& context, const SetOptions& options, const Written& written)
{
    if (options.page) {
        writePages(context,
                   {options.port.index(), options.address, options.what.reg.bytes, written.reg, *options.page,
                    options.inFlight, BUSY_LIMIT},
                   written.data, I2C_ADDRESS_ADVICE);
    } else {
        writeTarget(context, options.port, options.address, written.registerAddress, written.data);
    }
}

void set(Context& context, const SetOptions& options)
{
    Written written(options.what, options.words);
    validate(options, written);
    const Bytes mask = maskFor(options, written.data);
    setUpPort(context, options.port);
    if (!options.mask.empty()) {
        const Bytes before = readRange(context, options, written);
        for (std::size_t i = 0; i < mask.size(); ++i) {
            written.data[i] = static_cast<std::uint8_t>((before[i] & ~mask[i]) | (written.data[i] & mask[i]));
        }
    }
    writeData(context, options, written);
    context.output().print({},
                           {{"bus", options.port.bus}, {"address", options.address}, {"written", written.data.size()}});
    if (options.verify) {
        verify(context, options, written, mask);
    }
}

// ---- Commands -----------------------------------------------------------------------------------------------------

void addGet(Commands& i2c)
{
    auto [app, options] = i2c.add<GetOptions>(
        "get", "Read bytes in one transfer, from a register or the current position", get,
        {"tarvix i2c get 0x48 0 -n 2", "tarvix i2c get 0x48 0 --word 2", "tarvix i2c get 0x50 0x10 -n 16",
         "tarvix i2c get --bus 1 --reg-bytes 2 0x51 0x0100 -n 4 --raw | od -t x1"});
    addTargetAddress(app, options.address);
    addReadOptions(app, options.what);
    addWordOptions(app, options.words, "Read words of this many bytes and print their values; --length counts them");
    addPortOptions(app, options.port);
}

void addDump(Commands& i2c)
{
    auto [app, options] =
        i2c.add<DumpOptions>("dump", "Read a memory or a range of registers", dump,
                             {"tarvix i2c dump 0x50", "tarvix i2c dump 0x50 0x80 -n 32", "tarvix i2c dump --each 0x50",
                              "tarvix i2c dump --bus 1 --reg-bytes 2 0x51 -n 32768 --raw > eeprom.bin"});
    addTargetAddress(app, options.address);
    addText(app, "REGISTER", options.reg.text, "First register [0]");
    addNumber(app, "--reg-bytes", options.reg.bytes, {1, 4}, "Size of the register address in bytes");
    addSize(app, "-n,--length", options.length, {1, 16 << 20}, "Number of bytes to read; up to 256 by default");
    addFlag(app, "--each", options.each,
            "Read register by register, as i2cdump does; XX stands for one that does not acknowledge");
    addRaw(app, options.raw);
    addPortOptions(app, options.port);
}

void addSet(Commands& i2c)
{
    auto [app, options] =
        i2c.add<SetOptions>("set", "Write bytes to a register or a memory", set,
                            {"tarvix i2c set 0x48 2 0x4b 0", "tarvix i2c set 0x48 2 0x4b00 --word 2 --verify",
                             "tarvix i2c set 0x48 1 0x60 --mask 0x60", "tarvix i2c set 0x50 0x10 hex:deadbeef",
                             "printf 'twenty bytes of text' | tarvix i2c set --page 8 0x50 0 @-",
                             "seq 999 | tarvix i2c set --bus 1 --reg-bytes 2 --page 64 --in-flight 8 0x51 0 @-"},
                            "With --in-flight, pages follow each other without waiting for answers. That is faster\n"
                            "for memories that are never busy, such as FRAM, if the adapter can queue as many\n"
                            "requests. When a page fails, others in flight may have been written. A memory that\n"
                            "turns out to be busy gets its further pages one by one.");
    addTargetAddress(app, options.address);
    addWriteOptions(app, options.what);
    addWordOptions(app, options.words, "DATA are numbers of this many bytes each");
    addText(app, "-m,--mask", options.mask,
            "Change these bits only: read, modify, write. One byte or word for all of DATA, or as many as DATA has")
        .valueName("MASK");
    addFlag(app, "--verify", options.verify, "Read back, and exit with 1 if anything differs");
    addSize(app, "--page", options.page, {1, MAX_TRANSFER},
            "Write in pages of this many bytes, waiting while the memory is busy");
    addFlag(app, "--wrap", options.wrap, "Allow more than 8 bytes without --page, and beyond the last register");
    addNumber(app, "--in-flight", options.inFlight, {1, 63}, "Number of pages that may wait for their answers");
    addPortOptions(app, options.port);
}

} // namespace

void addRegisterCommands(Commands& i2c)
{
    addGet(i2c);
    addSet(i2c);
    addDump(i2c);
}

} // namespace tool
