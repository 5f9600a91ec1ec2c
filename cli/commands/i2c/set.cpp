// tarvix i2c set
#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/pieces.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "arguments/word_size.hpp"
#include "commands/i2c/commands.hpp"
#include "commands/i2c/eeprom_parts.hpp"
#include "commands/i2c/pages.hpp"
#include "commands/i2c/port.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

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
    requireAddressable("DATA", options.what.reg, {written.data.size(), fmt::format("{} bytes", written.data.size())});
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

Bytes readRange(Context& context, const SetOptions& options, const Written& written,
                std::chrono::milliseconds busyLimit = {})
{
    const auto busyUntil = std::chrono::steady_clock::now() + busyLimit;
    const auto readPiece = [&](std::uint64_t done, std::size_t count) {
        return readTarget(context, options.port, options.address,
                          encodeRegister(written.reg + done, options.what.reg.bytes), count, busyUntil);
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

} // namespace

void addSetCommand(Commands& i2c)
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

} // namespace tool
