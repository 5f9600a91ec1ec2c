// A small live chart of numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tool {

// A line for each series: its name, its last value, the range of the values in sight, and a sparkline that scrolls within
// that range. Each drawing takes the place of the one before.
class Chart {
public:
    explicit Chart(std::vector<std::string> names) : names_(std::move(names)), seen_(names_.size()) {}

    // What to write to a terminal with so many columns, 1 or more: `values` has one value for each series.
    std::string draw(std::span<const std::int64_t> values, std::size_t columns);

private:
    std::vector<std::string> names_;
    std::vector<std::deque<std::int64_t>> seen_; // by series, from the oldest
    bool drawn_ = false;
};

// Of the terminal at standard output.
std::size_t terminalColumns();

} // namespace tool
