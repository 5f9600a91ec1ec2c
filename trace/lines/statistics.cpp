#include "trace/lines/statistics.hpp"

#include <algorithm>
#include <bit>
#include <iterator>

#include <fmt/format.h>

#include "trace/protocol/text.hpp"

namespace trace {

namespace {

void appendFailures(std::string& text, const Table& table, const Statistics::Row& row)
{
    const char* separator = "";
    const auto add = [&](std::string_view name, std::uint64_t count) {
        if (count != 0) {
            fmt::format_to(std::back_inserter(text), "{}{} {}", separator, count, name);
            separator = ", ";
        }
    };
    for (const auto& [status, count] : row.failures) {
        std::string name;
        appendStatus(name, table, status);
        add(name, count);
    }
    add("no response", row.unanswered);
    add("late", row.late);
}

} // namespace

// Below 2^STEPS_BITS each value has a step of its own.
std::size_t Distribution::stepOf(std::uint64_t value)
{
    const auto width = static_cast<unsigned>(std::bit_width(value));
    const unsigned shift = width > STEPS_BITS + 1 ? width - STEPS_BITS - 1 : 0;
    return std::min((std::size_t{shift} << STEPS_BITS) + static_cast<std::size_t>(value >> shift), STEPS - 1);
}

std::uint64_t Distribution::endOf(std::size_t step)
{
    const std::size_t octave = step >> STEPS_BITS;
    const std::size_t shift = octave > 0 ? octave - 1 : 0;
    return ((std::uint64_t{step} - (shift << STEPS_BITS) + 1) << shift) - 1;
}

void Distribution::add(std::uint64_t value)
{
    ++counts_[stepOf(value)];
    ++count_;
    least_ = std::min(least_, value);
    most_ = std::max(most_, value);
}

std::uint64_t Distribution::percentile(unsigned percent) const
{
    const std::uint64_t wanted = std::max<std::uint64_t>((count_ * percent + 99) / 100, 1);
    std::uint64_t seen = 0;
    for (std::size_t step = 0; step < STEPS; ++step) {
        seen += counts_[step];
        if (seen >= wanted) {
            return std::clamp(endOf(step), least_, most_);
        }
    }
    return 0;
}

void Statistics::add(const Described& described)
{
    const Event& event = *described.event;
    if (event.kind == EventKind::OPEN || event.kind == EventKind::CLOSE) {
        return;
    }
    const bool hasRow = event.kind != EventKind::UNMATCHED && !described.command.empty();
    const std::string_view name = hasRow ? described.command : nameOf(event.kind);
    auto found = rows_.find(name);
    Row& row = found != rows_.end() ? found->second : rows_[std::string(name)];
    switch (event.kind) {
    case EventKind::LATE: // was counted when it was given up
        row.unanswered -= std::min<std::uint64_t>(row.unanswered, 1);
        ++row.late;
        return;
    case EventKind::UNANSWERED:
        ++row.unanswered;
        break;
    case EventKind::EXCHANGE:
        if (described.status.value_or(0) != 0) {
            ++row.failures[*described.status];
        }
        if (const auto latency = event.latency()) {
            row.latency.add(static_cast<std::uint64_t>(std::max<std::int64_t>(*latency, 0) / MICROSECOND));
        }
        break;
    default:
        break;
    }
    ++row.count;
    row.failed += described.failed() ? 1 : 0;
}

std::string Statistics::text() const
{
    std::size_t width = std::string_view("command").size();
    for (const auto& [name, row] : rows_) {
        width = std::max(width, name.size());
    }
    std::string text = fmt::format("{:{}}  {:>8}  {:>8}  {:>8}  {:>8}  {:>8}  {:>8}\n", "command", width, "count",
                                   "failed", "median", "90 %", "99 %", "most");
    for (const auto& [name, row] : rows_) {
        fmt::format_to(std::back_inserter(text), "{:{}}  {:8}  {:8}", name, width, row.count, row.failed);
        const bool timed = row.latency.count() != 0;
        for (const unsigned percent : {50U, 90U, 99U, 100U}) {
            text += timed ? fmt::format("  {:6}us", row.latency.percentile(percent)) : fmt::format("  {:>8}", "-");
        }
        text += "  ";
        appendFailures(text, table_, row);
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string Statistics::json() const
{
    std::string json;
    const auto out = std::back_inserter(json);
    for (const auto& [name, row] : rows_) {
        fmt::format_to(out,
                       R"({{"schema":1,"command":"{}","count":{},"failed":{},"unanswered":{},"late":{},"statuses":{{)",
                       name, row.count, row.failed, row.unanswered, row.late);
        const char* separator = "";
        for (const auto& [status, count] : row.failures) {
            fmt::format_to(out, "{}\"", separator);
            appendStatus(json, table_, status);
            fmt::format_to(out, "\":{}", count);
            separator = ",";
        }
        json += '}';
        if (row.latency.count() != 0) {
            fmt::format_to(
                out, R"(,"latency":{{"least":{:.6f},"median":{:.6f},"p90":{:.6f},"p99":{:.6f},"most":{:.6f}}})",
                static_cast<double>(row.latency.least()) / 1e6, static_cast<double>(row.latency.percentile(50)) / 1e6,
                static_cast<double>(row.latency.percentile(90)) / 1e6,
                static_cast<double>(row.latency.percentile(99)) / 1e6, static_cast<double>(row.latency.most()) / 1e6);
        }
        json += "}\n";
    }
    return json;
}

} // namespace trace
