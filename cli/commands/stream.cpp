#include "commands/stream.hpp"

#include <fmt/format.h>

#include "arguments/numbers.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"

namespace tool {

void addStreamOptions(CLI::App& app, StreamOptions& options)
{
    addNumber(app, "-n,--count", options.count, {1}, "Stop after this many events");
    addPeriod(app, "--idle-timeout", options.idleTimeout, PERIOD, "Stop after this long without an event: 500ms, 2s");
    addFlag(app, "--banner", options.banner, "Report on standard error when ready");
}

void follow(const NextEvent& next, const StreamOptions& options, std::string_view banner,
            const std::function<bool(const Event&)>& print)
{
    if (options.banner) {
        terminal::tell(banner);
    }
    std::uint64_t seen = 0;
    while (!options.count || seen < *options.count) {
        const auto event = next(options.idleTimeout);
        if (!event && options.count) {
            throw Failure(ExitStatus::NO_ANSWER, fmt::format("{} of {} events came", seen, *options.count),
                          "raise --idle-timeout");
        }
        if (!event) {
            return;
        }
        seen += print(*event) ? 1 : 0;
    }
}

void follow(NotificationStream& stream, const StreamOptions& options, std::string_view banner,
            const std::function<bool(const Event&)>& print)
{
    follow([&](auto idleTimeout) { return stream.next(idleTimeout); }, options, banner, print);
}

} // namespace tool
