#include "board/csv.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace sim {

namespace {

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view SPACE = " \t\r\"";
    text.remove_prefix(std::min(text.find_first_not_of(SPACE), text.size()));
    return text.substr(0, text.find_last_not_of(SPACE) + 1);
}

std::vector<std::string> cells(std::string_view line)
{
    std::vector<std::string> cells;
    while (true) {
        const auto comma = std::min(line.find(','), line.size());
        cells.emplace_back(trimmed(line.substr(0, comma)));
        if (comma == line.size()) {
            return cells;
        }
        line.remove_prefix(comma + 1);
    }
}

} // namespace

std::vector<double> readCsv(const Node& node, const std::vector<std::string>& columns)
{
    const auto path = node.file().parent_path() / node.text();
    std::ifstream stream(path, std::ios::binary);
    std::string line;
    if (!std::getline(stream, line)) {
        node.fail(fmt::format("cannot read {}", path.string()));
    }
    const auto names = cells(line);
    std::vector<std::size_t> places;
    for (const std::string& column : columns) {
        const auto found = std::ranges::find(names, column);
        if (found == names.end()) {
            node.fail(fmt::format("{} has no column '{}'; it has {}", path.string(), column, fmt::join(names, ", ")));
        }
        places.push_back(static_cast<std::size_t>(found - names.begin()));
    }

    std::vector<double> values;
    for (std::size_t number = 2; std::getline(stream, line); ++number) {
        if (trimmed(line).empty()) {
            continue;
        }
        const auto row = cells(line);
        for (const std::size_t place : places) {
            const std::string cell = place < row.size() ? row[place] : "";
            double value = 0;
            const auto result = std::from_chars(cell.data(), cell.data() + cell.size(), value);
            if (result.ec != std::errc{} || result.ptr != cell.data() + cell.size()) {
                node.fail(fmt::format("{}:{}: '{}' is not a number", path.string(), number, cell));
            }
            values.push_back(value);
        }
    }
    return values;
}

} // namespace sim
