#include "arguments/transfers.hpp"

#include <fmt/format.h>

#include "arguments/numbers.hpp"
#include "console/errors.hpp"

namespace tool {

AddedOption addData(CLI::App& app, std::vector<std::string>& words, const char* purpose)
{
    return addTexts(app, "DATA", words, fmt::format("{}: {}", purpose, DATA_HELP));
}

std::uint64_t registerNumber(const RegisterOptions& options)
{
    const std::uint64_t value = parseNumber("REGISTER", options.text, {0, 0xFFFFFFFF});
    if (value >> (8 * options.bytes) != 0) {
        throw UsageError(
            fmt::format("REGISTER: {} does not fit in a {}-byte register address", options.text, options.bytes),
            "raise --reg-bytes");
    }
    return value;
}

Bytes encodeRegister(std::uint64_t value, unsigned count)
{
    Bytes bytes;
    for (unsigned shift = 8 * count; shift > 0;) {
        shift -= 8;
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    return bytes;
}

void addReadOptions(CLI::App& app, ReadOptions& options)
{
    addText(app, "REGISTER", options.reg.text,
            "First register; by default the target continues from its current position");
    addNumber(app, "--reg-bytes", options.reg.bytes, {1, 4}, "Size of the register address in bytes");
    addSize(app, "-n,--length", options.length, {1, MAX_TRANSFER}, "Number of bytes to read");
    addRaw(app, options.raw);
}

ReadPosition::ReadPosition(const RegisterOptions& options)
{
    if (!options.text.empty()) {
        offset = registerNumber(options);
        registerAddress = encodeRegister(offset, options.bytes);
    }
}

void addWriteOptions(CLI::App& app, WriteOptions& options)
{
    addText(app, "REGISTER", options.reg.text, "First register").required();
    addData(app, options.data, "Bytes to write");
    addNumber(app, "--reg-bytes", options.reg.bytes, {0, 4},
              "Size of the register address in bytes; 0: no REGISTER, only DATA");
}

Written::Written(const WriteOptions& options, const WordOptions& words)
{
    std::vector<std::string> texts = options.data;
    if (options.reg.bytes == 0) {
        texts.insert(texts.begin(), options.reg.text);
    } else {
        reg = registerNumber(options.reg);
        registerAddress = encodeRegister(reg, options.reg.bytes);
    }
    data = readWords("DATA", texts, MAX_TRANSFER, words);
}

void requireAddressable(std::string_view what, const RegisterOptions& first, const Given& count)
{
    const std::uint64_t end = std::uint64_t{1} << (8 * first.bytes);
    if (count.value > end - registerNumber(first)) {
        throw UsageError(fmt::format("{}: {} starting at {} goes beyond the last {}-byte register address", what,
                                     count.text, first.text, first.bytes),
                         "raise --reg-bytes");
    }
}

void addRaw(CLI::App& app, bool& raw)
{
    addFlag(app, "--raw", raw, "Write raw bytes to standard output");
}

} // namespace tool
