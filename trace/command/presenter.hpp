// Records on their way to standard output: as lines or statistics, those that are wanted.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "arguments/options.hpp"
#include "console/output.hpp"
#include "trace/conversation/conversation.hpp"
#include "trace/lines/filter.hpp"
#include "trace/lines/lines.hpp"
#include "trace/lines/statistics.hpp"

namespace trace {

inline constexpr std::chrono::milliseconds PATIENCE{100};
void addPatienceOption(CLI::App& app, std::chrono::milliseconds& patience);

// As they stand on the command line; lists have commas.
struct ShowOptions {
    std::string families;
    std::string addresses;
    std::string statuses;
    std::string adapters;
    std::string from;
    std::string to;
    std::chrono::milliseconds patience = PATIENCE;
    bool frames = false;
    bool reports = false;
    bool statistics = false;

    bool operator==(const ShowOptions&) const = default;
};

void addShowOptions(CLI::App& app, ShowOptions& options);

class Presenter {
public:
    // `atOnce` writes each line when it is there. Throws UsageError. `output` lives as long as this.
    Presenter(tool::Output& output, const ShowOptions& options, bool atOnce);

    // Records in their order. Throws what writing throws.
    void take(const Record& record);

    // Nothing more is to come: tells what is open, and writes what is left.
    void end();

    // Whether there was any traffic of an adapter, wanted or not.
    bool sawAdapters() const { return conversation_.hasAdapters(); }

private:
    void print(const Event& event);
    void flush();

    tool::Output& output_;
    const ShowOptions options_;
    const bool atOnce_;
    const Table& table_ = Table::builtIn();
    Filter filter_;
    LineWriter lines_;
    Statistics statistics_;
    Conversation conversation_;
    Described described_;
    std::string text_;
    bool begun_ = false;
};

} // namespace trace
