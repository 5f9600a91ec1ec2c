#include "console/chart.hpp"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr std::size_t LABEL = 38; // columns before the sparkline, unless the numbers are large

std::string_view bar(std::int64_t value, std::int64_t low, std::int64_t high)
{
    constexpr std::string_view BARS[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    const double span = static_cast<double>(high) - static_cast<double>(low);
    const double height = span > 0 ? (static_cast<double>(value) - static_cast<double>(low)) / span : 0.5;
    return BARS[static_cast<std::size_t>(height * 7 + 0.5)];
}

// In at most `columns`, of which the last stays empty: a terminal may begin a new line after it.
std::string row(const std::string& name, const std::deque<std::int64_t>& seen, std::size_t columns)
{
    const auto [low, high] = std::minmax_element(seen.begin(), seen.end());
    std::string text = fmt::format("{:<12} {:>6}  {:<16} ", name, seen.back(), fmt::format("({} to {})", *low, *high));
    text.resize(std::min(text.size(), columns - 1));
    const std::size_t room = std::min(columns - 1 - text.size(), seen.size());
    for (std::size_t i = seen.size() - room; i < seen.size(); ++i) {
        text += bar(seen[i], *low, *high);
    }
    return text;
}

} // namespace

std::string Chart::draw(std::span<const std::int64_t> values, std::size_t columns)
{
    std::string text = drawn_ ? fmt::format("\x1b[{}A", names_.size()) : std::string();
    drawn_ = true;
    for (std::size_t i = 0; i < names_.size(); ++i) {
        seen_[i].push_back(values[i]);
        while (seen_[i].size() > std::max(columns, LABEL + 2) - LABEL - 1) {
            seen_[i].pop_front();
        }
        text += "\r" + row(names_[i], seen_[i], columns) + "\x1b[K\n";
    }
    return text;
}

std::size_t terminalColumns()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace tool
