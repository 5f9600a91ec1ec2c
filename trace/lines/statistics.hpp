// How often, how well and how fast, by command.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "trace/lines/described.hpp"

namespace trace {

// Counts values in a fixed number of steps, each at most 1.6 % wide.
class Distribution {
public:
    void add(std::uint64_t value);

    std::uint64_t count() const { return count_; }
    std::uint64_t least() const { return least_; }
    std::uint64_t most() const { return most_; }

    // The least value that this share of all values does not exceed; 0 when there are none.
    std::uint64_t percentile(unsigned percent) const;

private:
    static constexpr unsigned STEPS_BITS = 6; // steps in each power of two
    static constexpr std::size_t STEPS = std::size_t{40} << STEPS_BITS;

    static std::size_t stepOf(std::uint64_t value);
    static std::uint64_t endOf(std::size_t step);

    std::array<std::uint32_t, STEPS> counts_{};
    std::uint64_t count_ = 0;
    std::uint64_t least_ = ~std::uint64_t{0};
    std::uint64_t most_ = 0;
};

class Statistics {
public:
    explicit Statistics(const Table& table) : table_(table) {}

    void add(const Described& described);

    struct Row {
        std::uint64_t count = 0;      // requests, or notifications
        std::uint64_t failed = 0;     // of these
        std::uint64_t unanswered = 0; // without those whose response was late
        std::uint64_t late = 0;
        std::map<std::uint16_t, std::uint64_t> failures{}; // by status
        Distribution latency{};                            // of exchanges, in microseconds
    };

    // By the name of the command or notification, or the kind of an event that has none.
    const std::map<std::string, Row, std::less<>>& rows() const { return rows_; }

    // A table for people.
    std::string text() const;

    // One object for each row, on one line of ASCII.
    std::string json() const;

private:
    const Table& table_;
    std::map<std::string, Row, std::less<>> rows_;
};

} // namespace trace
