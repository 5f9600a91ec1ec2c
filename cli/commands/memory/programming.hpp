// The jobs that all memories have: reading into a file, writing from one, comparing, erasing.
#pragma once

#include <optional>
#include <string>

#include "adapter/context.hpp"
#include "arguments/options.hpp"
#include "commands/memory/memory.hpp"

namespace tool {

struct RangeOptions {
    Given offset;
    std::optional<Given> length;
};

void addRangeOptions(CLI::App& app, RangeOptions& options, const char* lengthDescription);

struct ReadMemoryOptions {
    RangeOptions range;
    std::string file; // empty: a hexdump
};

void addReadMemoryOptions(CLI::App& app, ReadMemoryOptions& options);

struct WriteMemoryOptions {
    RangeOptions range;
    std::string file;
    bool noVerify = false;
};

void addWriteMemoryOptions(CLI::App& app, WriteMemoryOptions& options);

struct VerifyMemoryOptions {
    RangeOptions range;
    std::string file;
};

void addVerifyMemoryOptions(CLI::App& app, VerifyMemoryOptions& options);

// What was read is in the file as soon as it came, and stays there when the job ends early.
void readMemory(Context& context, Memory& memory, const ReadMemoryOptions& options);

// Reads the range first and changes only what differs. What is asked of a memory that must be erased in blocks leaves
// the rest of the blocks as it was, also after Ctrl-C. The next run finishes what was begun.
void writeMemory(Context& context, Memory& memory, const WriteMemoryOptions& options);

void verifyMemory(Context& context, Memory& memory, const VerifyMemoryOptions& options);

// Writes 0xFF to what is asked for, in the same way.
void eraseMemory(Context& context, Memory& memory, const RangeOptions& range, bool verifies);

} // namespace tool
