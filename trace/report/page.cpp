#include "page.hpp"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "page_text.hpp"

namespace trace {

namespace {

using json = nlohmann::ordered_json;

// As JSON inside an HTML element: ASCII, whatever bytes the texts hold, and without `<`, which could end the element.
std::string embedded(const json& value)
{
    std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    for (std::size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at)) {
        text.replace(at, 1, "\\u003c");
    }
    return text;
}

json member(const json& event, const char* name)
{
    const auto found = event.find(name);
    return found == event.end() ? json() : *found;
}

std::int64_t microseconds(const json& seconds)
{
    return seconds.is_number() ? std::llround(seconds.get<double>() * 1e6) : 0;
}

// Long texts are bytes as a rule, and those can be seen in the frame.
json shortened(json value)
{
    constexpr std::size_t LONGEST = 160;
    if (value.is_object()) {
        for (json& item : value) {
            item = shortened(item);
        }
    } else if (value.is_string() && value.get_ref<const std::string&>().size() > LONGEST) {
        const std::string& text = value.get_ref<const std::string&>();
        return fmt::format("{} ... ({} characters)", std::string_view(text).substr(0, LONGEST - 20), text.size());
    }
    return value;
}

// A frame as one word, without its id, which has a column of its own: without it, equal frames are one.
json withoutId(const json& frame, std::int64_t id)
{
    if (!frame.is_string()) {
        return {};
    }
    std::string hex = frame.get<std::string>();
    std::erase(hex, ' ');
    const std::string idBytes = fmt::format("{:02x}{:02x}", id & 0xff, id >> 8 & 0xff);
    return hex.starts_with(idBytes) ? "+" + hex.substr(idBytes.size()) : hex;
}

json command(const json& event)
{
    const json name = member(event, "command");
    return name.is_null() ? json()
                          : json{{"name", name}, {"code", member(event, "code")}, {"family", member(event, "family")}};
}

json status(const json& event)
{
    const json number = member(event, "status"); // of responses
    return number.is_null() ? json() : json{{"number", number}, {"name", member(event, "status_name")}};
}

} // namespace

std::int64_t ValueList::indexOf(const json& value)
{
    if (value.is_null()) {
        return 0;
    }
    const auto [entry, isNew] = indexes_.try_emplace(embedded(value), order_.size() + 1);
    if (isNew) {
        order_.push_back(&entry->first);
    }
    return entry->second;
}

void ValueList::write(std::string& text) const
{
    text += "[null";
    for (const std::string* value : order_) {
        text += ",\n" + *value;
    }
    text += "]";
}

void ReportPage::add(const json& event)
{
    const std::int64_t at = microseconds(member(event, "at"));
    const json latency = member(event, "latency");
    const json id = member(event, "id");
    const std::int64_t idNumber = id.is_number_integer() ? id.get<std::int64_t>() : 0;
    const bool isNotification = member(event, "event") == "notification";
    if (rows_.empty()) {
        start_ = {{"time", member(event, "time")}, {"at", at}};
    }
    rows_.push_back({
        kinds_.indexOf(member(event, "event")),
        at,
        latency.is_number() ? microseconds(latency) + 1 : 0,
        adapters_.indexOf(member(event, "adapter")),
        commands_.indexOf(command(event)),
        statuses_.indexOf(status(event)),
        idNumber,
        texts_.indexOf(shortened(member(event, "line"))),
        fields_.indexOf(shortened(member(event, "request"))),
        fields_.indexOf(shortened(member(event, isNotification ? "fields" : "response"))),
        frames_.indexOf(withoutId(member(event, "request_frame"), idNumber)),
        frames_.indexOf(withoutId(member(event, "response_frame"), idNumber)),
    });
}

// Times as distances, which are short.
std::vector<std::int64_t> ReportPage::column(std::size_t number) const
{
    std::vector<std::int64_t> values;
    values.reserve(rows_.size());
    std::int64_t before = 0;
    for (const auto& row : rows_) {
        values.push_back(number == AT ? row[number] - std::exchange(before, row[number]) : row[number]);
    }
    return values;
}

std::string ReportPage::capture() const
{
    std::string text =
        fmt::format("{{\"file\":{},\"start\":{},\"damage\":{}", embedded(title_), embedded(start_), embedded(damage_));
    for (const auto& [name, list] :
         {std::pair("kinds", &kinds_), std::pair("adapters", &adapters_), std::pair("commands", &commands_),
          std::pair("statuses", &statuses_), std::pair("texts", &texts_), std::pair("fields", &fields_),
          std::pair("frames", &frames_)}) {
        text += fmt::format(",\n\"{}\":", name);
        list->write(text);
    }
    text += ",\n\"columns\":";
    for (std::size_t i = 0; i < COLUMNS.size(); ++i) {
        text += fmt::format("{}\n\"{}\":[{}]", i == 0 ? "{" : ",", COLUMNS[i], fmt::join(column(i), ","));
    }
    return text + "}}";
}

std::string ReportPage::html()
{
    std::ranges::stable_sort(rows_, {}, [](const auto& row) { return row[AT]; });
    return fmt::format("{}{}{}", PAGE_BEFORE_CAPTURE, capture(), PAGE_AFTER_CAPTURE);
}

} // namespace trace
