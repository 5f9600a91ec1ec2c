// The page that `tarvix trace report` writes: one HTML file that needs no other file and no network.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace trace {

// A list of different values in the order in which they first came, behind entry 0, which stands for "none".
class ValueList {
public:
    std::int64_t indexOf(const nlohmann::ordered_json& value); // 0 for null
    void write(std::string& text) const;

private:
    std::unordered_map<std::string, std::int64_t> indexes_; // by the value as JSON
    std::vector<const std::string*> order_;
};

class ReportPage {
public:
    // `title` is what the page calls the capture, as a rule its file name. It and all texts may hold any bytes.
    explicit ReportPage(std::string title) : title_(std::move(title)) {}

    // An event in the form of `tarvix trace show --json --frames`. The page has them in the order of their times.
    void add(const nlohmann::ordered_json& event);

    // What could not be read of the capture, in words.
    void addDamage(const std::string& text) { damage_.push_back(text); }

    // The whole page, in UTF-8.
    std::string html();

private:
    static constexpr std::array COLUMNS = {"kind", "at",   "latency", "adapter",  "command",      "status",
                                           "id",   "text", "request", "response", "requestFrame", "responseFrame"};

    static constexpr std::size_t AT = 1;

    std::string capture() const;
    std::vector<std::int64_t> column(std::size_t number) const;

    const std::string title_;
    nlohmann::ordered_json start_; // wall-clock time of the first event, and its distance from the start
    std::vector<std::string> damage_;
    ValueList kinds_, adapters_, commands_, statuses_, texts_, fields_, frames_;
    std::vector<std::array<std::int64_t, COLUMNS.size()>> rows_; // the page's capture.js says what they mean
};

} // namespace trace
