// Events as lines, for people and for programs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trace/lines/described.hpp"

namespace trace {

// "2026-11-22T02:11:04.123456Z", of a time of the wall clock.
std::string timeText(std::int64_t time);

class LineWriter {
public:
    struct Options {
        bool frames = false;  // with the frames' bytes
        bool reports = false; // with the reports that carried them
    };

    LineWriter(const Table& table, Options options) : table_(table), options_(options) {}

    // "02:11:04.123456   412us  i2c read bus 0 0x48 reg 00 len 2 -> 17 80", and lines with bytes below it. Once there
    // is a second adapter, lines name theirs.
    void appendText(std::string& text, const Described& described);

    // One object on one line of ASCII.
    void appendJson(std::string& json, const Described& described);

    // The moment from which JSON counts: that of the first event, unless it is set.
    void beginAt(std::int64_t moment) { begin_ = moment; }

private:
    void appendLine(std::string& text, const Described& described) const;

    const Table& table_;
    const Options options_;
    std::optional<std::int64_t> begin_;
    const Adapter* first_ = nullptr; // that was named
    bool several_ = false;
};

} // namespace trace
