// Arguments that the transfers of all buses have: register addresses, data, --raw.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "arguments/data.hpp"
#include "arguments/options.hpp"
#include "arguments/word_size.hpp"

namespace tool {

// The adapter counts the bytes of a transfer in 16 bits.
inline constexpr std::uint64_t MAX_TRANSFER = 0xFFFF;

// DATA, for readData. `purpose` is "Bytes to write".
AddedOption addData(CLI::App& app, std::vector<std::string>& words, const char* purpose);

// A register of a target: a number that goes out before the data, most significant byte first.
struct RegisterOptions {
    std::string text; // as given; empty for none
    unsigned bytes = 1;
};

// Throws UsageError for a register that has no number of so many bytes.
std::uint64_t registerNumber(const RegisterOptions& options);

Bytes encodeRegister(std::uint64_t value, unsigned count);

// A read: from which register, if any, how many bytes, and whether to print them raw.
struct ReadOptions {
    RegisterOptions reg;
    std::uint64_t length = 1;
    bool raw = false;
};

void addReadOptions(CLI::App& app, ReadOptions& options);

// The register that a read begins at, and the offset that its first byte has in a hexdump.
struct ReadPosition {
    Bytes registerAddress;
    std::uint64_t offset = 0;

    explicit ReadPosition(const RegisterOptions& options);
};

// REGISTER and DATA of a write; with --reg-bytes 0 the words are all data.
struct WriteOptions {
    RegisterOptions reg;
    std::vector<std::string> data;
};

void addWriteOptions(CLI::App& app, WriteOptions& options);

struct Written {
    std::uint64_t reg = 0;
    Bytes registerAddress;
    Bytes data;

    explicit Written(const WriteOptions& options, const WordOptions& words = {});
};

// `count` bytes from `first` on must have register addresses. Throws UsageError naming `what`.
void requireAddressable(std::string_view what, const RegisterOptions& first, const Given& count);

void addRaw(CLI::App& app, bool& raw);

} // namespace tool
