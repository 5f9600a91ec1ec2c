// What all commands that read the same thing again and again have in common.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "arguments/options.hpp"
#include "console/waiting.hpp"

namespace tool {

struct PollOptions {
    std::optional<std::chrono::milliseconds> every; // a command that may also read once: empty for that
    std::optional<std::uint64_t> count;
    bool csv = false;
    bool plot = false;
};

// `countNames`: for a command that uses -n for something else.
void addPollOptions(CLI::App& app, PollOptions& options, const char* countNames = "-n,--count");

// What was read once, in each form in which it may be printed.
struct Sample {
    std::string text;                 // the line, without its time
    std::vector<std::int64_t> values; // one for each column, for --csv and --plot
    Json fields;                      // without the time
};

// The first tick after `now`.
Deadline tickAfter(Deadline last, std::chrono::milliseconds every, Deadline now);

// Prints a sample every `options.every`, the first one at once, until `count` of them are printed. The times are those
// of a clock and do not drift; a read that takes longer skips those it missed. `columns` names the values of a sample.
// Throws Interrupted on Ctrl-C, OutputClosed, what `read` throws, and UsageError for forms that exclude each other.
void pollReads(Context& context, const PollOptions& options, const std::vector<std::string>& columns,
               const std::function<Sample()>& read);

} // namespace tool
