#include "commands/polling.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include "adapter/notifications.hpp"
#include "console/chart.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

void requireOneForm(const Output& output, const PollOptions& options)
{
    if (int{output.json()} + int{options.csv} + int{options.plot} > 1) {
        throw UsageError("--json, --csv and --plot cannot be combined", "use one of them");
    }
    if (options.plot && isatty(STDOUT_FILENO) != 1) {
        throw UsageError("--plot: standard output is not a terminal", "use --csv or --json");
    }
}

class SamplePrinter {
public:
    SamplePrinter(Output& output, const PollOptions& options, const std::vector<std::string>& columns)
        : output_(output), options_(options), chart_(columns)
    {
        if (options.csv) {
            output.write(fmt::format("time,{}\n", fmt::join(columns, ",")));
        }
    }

    void print(const std::string& time, const Sample& sample)
    {
        if (options_.csv) {
            output_.write(fmt::format("{},{}\n", time, fmt::join(sample.values, ",")));
        } else if (options_.plot) {
            output_.write(chart_.draw(sample.values, terminalColumns()));
        } else {
            Json fields{{"time", time}};
            fields.update(sample.fields);
            output_.printEvent(fmt::format("{} {}", time, sample.text), fields);
        }
    }

private:
    Output& output_;
    const PollOptions& options_;
    Chart chart_;
};

} // namespace

Deadline tickAfter(Deadline last, std::chrono::milliseconds every, Deadline now)
{
    return last + every * ((now - last) / every + 1);
}

void addPollOptions(CLI::App& app, PollOptions& options, const char* countNames)
{
    addPeriod(app, "--every", options.every, {1, PERIOD.high}, "Read this often: 100ms, 2s");
    addNumber(app, countNames, options.count, {1}, "Stop after this many samples");
    addFlag(app, "--csv", options.csv, "Print comma-separated values, with a header");
    addFlag(app, "--plot", options.plot, "Draw a small live chart on the terminal");
}

void pollReads(Context& context, const PollOptions& options, const std::vector<std::string>& columns,
               const std::function<Sample()>& read)
{
    requireOneForm(context.output(), options);
    SamplePrinter printer(context.output(), options, columns);
    Deadline tick = std::chrono::steady_clock::now();
    for (std::uint64_t printed = 0; !options.count || printed < *options.count; ++printed) {
        sleepUntil(tick);
        const std::string time = timeText(std::chrono::system_clock::now());
        printer.print(time, read());
        tick = tickAfter(tick, *options.every, std::chrono::steady_clock::now());
    }
}

} // namespace tool
