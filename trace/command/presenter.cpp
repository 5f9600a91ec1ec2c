#include "trace/command/presenter.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <functional>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "arguments/numbers.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace trace {

namespace {

using namespace tool;

constexpr std::size_t FLUSHED_AT = std::size_t{64} * 1024;
constexpr std::int64_t DAY = 86'400 * SECOND;

std::vector<std::string> listOf(const char* option, std::string_view text)
{
    std::vector<std::string> items;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(','), text.size());
        items.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (items.back().empty()) {
            throw UsageError(fmt::format("{}: an item of the list is empty", option));
        }
    }
    return items;
}

std::string upperCase(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::toupper(letter); });
    return text;
}

std::vector<std::string> familiesOf(const Table& table, const std::string& text)
{
    std::vector<std::string> known = table.families();
    known.emplace_back("unknown");
    std::vector<std::string> families = listOf("--family", text);
    for (const std::string& family : families) {
        if (std::ranges::find(known, family) == known.end()) {
            throw UsageError(fmt::format("--family: '{}' is not one of {}", family, fmt::join(known, ", ")));
        }
    }
    return families;
}

void addStatus(const Table& table, const std::string& word, Filter& filter)
{
    const std::string name = upperCase(word);
    if (name == "FAILED") {
        filter.failed = true;
        return;
    }
    if (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) != 0) {
        filter.statuses.push_back(static_cast<std::uint16_t>(parseNumber("--status", word, WORD)));
        return;
    }
    std::vector<std::string> known{"failed"};
    for (const auto& [number, statusName] : table.statuses()) {
        if (statusName == name) {
            filter.statuses.push_back(number);
            return;
        }
        known.push_back(statusName);
    }
    throw UsageError(fmt::format("--status: '{}' is neither a number nor one of {}", word, fmt::join(known, ", ")));
}

Filter filterOf(const Table& table, const ShowOptions& options)
{
    Filter filter;
    filter.families = familiesOf(table, options.families);
    for (const std::string& address : listOf("--address", options.addresses)) {
        filter.addresses.push_back(static_cast<std::uint32_t>(parseNumber("--address", address, ADDRESS)));
    }
    for (const std::string& status : listOf("--status", options.statuses)) {
        addStatus(table, status, filter);
    }
    filter.adapters = listOf("--adapter", options.adapters);
    return filter;
}

// "02:11:04.5" as nanoseconds of a day, "2026-11-22" before it as days since 1970.
class TimeText {
public:
    TimeText(const char* option, const std::string& text) : option_(option), text_(text), rest_(text) {}

    // `first` is the time of the first record; a time of day that is further before it than `slack` is the next day's.
    // Empty text is no time.
    std::optional<std::int64_t> resolve(std::int64_t first, std::int64_t slack)
    {
        if (text_.empty()) {
            return std::nullopt;
        }
        if (text_.find(':') == std::string::npos) {
            return first + parsePeriod(option_, text_).count() * MILLISECOND;
        }
        const bool dated = text_.find('T') != std::string::npos;
        std::int64_t day = first / DAY * DAY;
        if (dated) {
            const auto year = std::chrono::year(static_cast<int>(number(4, 9999)));
            expect('-');
            const auto month = std::chrono::month(static_cast<unsigned>(number(2, 12)));
            expect('-');
            const auto date =
                std::chrono::year_month_day(year, month, std::chrono::day(static_cast<unsigned>(number(2, 31))));
            expect('T');
            if (!date.ok()) {
                fail();
            }
            day = std::chrono::sys_days(date).time_since_epoch().count() * DAY;
        }
        const std::int64_t time = day + ofDay();
        return dated || time >= first - slack ? time : time + DAY;
    }

private:
    std::int64_t ofDay()
    {
        std::int64_t time = number(2, 23) * 3600;
        expect(':');
        time += number(2, 59) * 60;
        if (takes(':')) {
            time += number(2, 59);
        }
        time *= SECOND;
        if (takes('.')) {
            for (std::int64_t digit = SECOND / 10; !rest_.empty() && std::isdigit(static_cast<unsigned char>(rest_[0]));
                 digit /= 10) {
                time += digit * number(1, 9);
            }
        }
        takes('Z');
        if (!rest_.empty()) {
            fail();
        }
        return time;
    }

    std::int64_t number(std::size_t digits, std::int64_t most)
    {
        std::int64_t value = 0;
        const std::string_view text = rest_.substr(0, digits);
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || text.size() != digits || value > most ||
            value < 0) {
            fail();
        }
        rest_.remove_prefix(digits);
        return value;
    }

    bool takes(char c)
    {
        const bool there = rest_.starts_with(c);
        rest_.remove_prefix(there ? 1 : 0);
        return there;
    }

    void expect(char c)
    {
        if (!takes(c)) {
            fail();
        }
    }

    [[noreturn]] void fail() const
    {
        throw UsageError(
            fmt::format("{}: '{}' is no time", option_, text_),
            "write it as printed, 02:11:04.5 or 2026-11-22T02:11:04Z, or as a period from the beginning, 1.5s");
    }

    const char* const option_;
    const std::string text_;
    std::string_view rest_;
};

} // namespace

void addPatienceOption(CLI::App& app, std::chrono::milliseconds& patience)
{
    addPeriod(app, "--patience", patience, {1, PERIOD.high},
              "A request is given up when the program sends another after this long without an answer");
}

void addShowOptions(CLI::App& app, ShowOptions& options)
{
    addText(app, "--family", options.families, "Only these: i2c,spi,uart,gpio,i3c,adapter").valueName("LIST");
    addText(app, "--address", options.addresses, "Only what names these targets: 0x48,0x50").valueName("LIST");
    addText(app, "--status", options.statuses,
            "Only these, by name or number: NACK,0x0123; 'failed' is all that went wrong")
        .valueName("LIST");
    addText(app, "--adapter", options.adapters, "Only these, by serial number or by bus and device: TVX1,1-5")
        .valueName("LIST");
    addText(app, "--from", options.from, "Only from this time on: 02:11:04.5, or 1.5s from the beginning")
        .valueName("TIME");
    addText(app, "--to", options.to, "Only up to this time").valueName("TIME");
    addPatienceOption(app, options.patience);
    addFlag(app, "--frames", options.frames, "Print the frames' bytes, too");
    addFlag(app, "--reports", options.reports, "Print the reports that carried them, too");
    addFlag(app, "--stats", options.statistics, "Print counts, failures and latencies by command instead");
}

Presenter::Presenter(tool::Output& output, const ShowOptions& options, bool atOnce)
    : output_(output),
      options_(options),
      atOnce_(atOnce),
      filter_(filterOf(table_, options)),
      lines_(table_, {options.frames, options.reports}),
      statistics_(table_),
      conversation_(table_, {options.patience.count() * MILLISECOND, options.reports},
                    [this](const Event& event) { print(event); })
{
    for (const auto& [option, text] : {std::pair("--from", options.from), std::pair("--to", options.to)}) {
        TimeText(option, text).resolve(0, 0); // wrong ones are told before anything is done
    }
}

void Presenter::take(const Record& record)
{
    if (!begun_) {
        begun_ = true;
        filter_.from = TimeText("--from", options_.from).resolve(record.time, DAY / 2);
        filter_.to = TimeText("--to", options_.to).resolve(record.time, 0);
        lines_.beginAt(record.moment);
    }
    conversation_.take(record);
    if (atOnce_ || text_.size() >= FLUSHED_AT) {
        flush();
    }
}

void Presenter::end()
{
    conversation_.end();
    if (options_.statistics) {
        text_ += output_.json() ? statistics_.json() : statistics_.text();
    }
    flush();
}

void Presenter::print(const Event& event)
{
    describe(table_, event, described_);
    if (!filter_.wants(described_)) {
        return;
    }
    if (options_.statistics) {
        statistics_.add(described_);
    } else if (output_.json()) {
        lines_.appendJson(text_, described_);
    } else {
        lines_.appendText(text_, described_);
    }
}

void Presenter::flush()
{
    throwIfInterrupted();
    output_.write(text_);
    text_.clear();
}

} // namespace trace
