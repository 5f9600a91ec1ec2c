#include "trace/protocol/table.hpp"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "wire_protocol.hpp"

namespace trace {

namespace {

using Json = nlohmann::json;
using Enumerations = std::map<std::string, Enumeration, std::less<>>;

// 5 or "0x05"
std::uint32_t number(const Json& json)
{
    return json.is_string() ? static_cast<std::uint32_t>(std::stoul(json.get<std::string>(), nullptr, 0))
                            : json.get<std::uint32_t>();
}

std::uint16_t number16(const Json& json)
{
    return static_cast<std::uint16_t>(number(json));
}

template <typename Value>
Value oneOf(const std::string& word, std::initializer_list<std::pair<const char*, Value>> choices)
{
    for (const auto& [name, value] : choices) {
        if (word == name) {
            return value;
        }
    }
    throw std::invalid_argument("wire-protocol.json: '" + word + "' is no type or format");
}

Reference reference(const std::string& text)
{
    constexpr std::string_view IN_REQUEST = "request.";
    return text.starts_with(IN_REQUEST) ? Reference{text.substr(IN_REQUEST.size()), true} : Reference{text, false};
}

std::optional<Reference> optionalReference(const Json& json, const char* member)
{
    return json.contains(member) ? std::optional(reference(json.at(member).get<std::string>())) : std::nullopt;
}

std::vector<Condition> conditions(const Json& json)
{
    std::vector<Condition> all;
    const Json when = json.value("when", Json::object());
    for (const auto& [name, value] : when.items()) {
        Condition& condition = all.emplace_back(Condition{reference(name), {}});
        for (const Json& one : value.is_array() ? value : Json::array({value})) {
            condition.values.push_back(number(one));
        }
    }
    return all;
}

Template::Part part(std::string_view text, bool optional)
{
    Template::Part part{optional, {}};
    while (!text.empty()) {
        const std::size_t open = std::min(text.find('{'), text.size());
        const std::size_t close = std::min(text.find('}', open), text.size());
        const std::string_view field = open < text.size() ? text.substr(open + 1, close - open - 1) : "";
        part.pieces.push_back({std::string(text.substr(0, open)), std::string(field)});
        text.remove_prefix(std::min(close + 1, text.size()));
    }
    return part;
}

Template compiled(const std::string& line)
{
    Template compiled;
    std::string_view rest = line;
    while (!rest.empty()) {
        const bool optional = rest.front() == '[';
        const std::size_t end = std::min(rest.find(optional ? ']' : '['), rest.size());
        compiled.parts.push_back(part(rest.substr(optional, end - optional), optional));
        rest.remove_prefix(std::min(end + optional, rest.size()));
    }
    return compiled;
}

Template templateOf(const Json& json, const char* member)
{
    return compiled(json.value(member, ""));
}

std::vector<Field> fields(const Json& list, const Enumerations& enumerations);

Field field(const Json& json, const Enumerations& enumerations)
{
    Field field;
    field.name = json.at("name").get<std::string>();
    field.type = oneOf<Type>(json.at("type").get<std::string>(), {{"u8", Type::U8},
                                                                  {"u16", Type::U16},
                                                                  {"u32", Type::U32},
                                                                  {"u16be", Type::U16_BIG_ENDIAN},
                                                                  {"bytes", Type::BYTES},
                                                                  {"text", Type::TEXT},
                                                                  {"records", Type::RECORDS}});
    if (json.contains("at")) {
        field.at = json.at("at").get<std::size_t>();
    }
    if (json.contains("bits")) {
        field.firstBit = json.at("bits").at(0).get<unsigned>();
        field.lastBit = json.at("bits").at(1).get<unsigned>();
    }
    field.count = optionalReference(json, "count");
    field.announced = optionalReference(json, "announced");
    field.times = json.value("times", field.times);
    field.less = json.value("less", field.less);
    field.size = json.value("size", field.size);
    field.reversed = json.value("reversed", false);
    field.hidden = json.value("hidden", false);
    field.format =
        oneOf<Format>(json.value("format", ""), {{"", Format::DECIMAL}, {"hex", Format::HEX}, {"flag", Format::FLAG}});
    field.unit = json.value("unit", "");
    field.values = json.contains("values") ? &enumerations.at(json.at("values").get<std::string>()) : nullptr;
    field.when = conditions(json);
    field.fields = fields(json.value("fields", Json::array()), enumerations);
    field.line = templateOf(json, "line");
    return field;
}

std::vector<Field> fields(const Json& list, const Enumerations& enumerations)
{
    std::vector<Field> all;
    for (const Json& json : list) {
        all.push_back(field(json, enumerations));
    }
    return all;
}

// What a form does not have is the command's.
Form form(const Json& json, const Form& common, const Enumerations& enumerations)
{
    Form form;
    form.when = conditions(json);
    form.name = json.at("name").get<std::string>();
    form.methods = json.value("methods", form.methods);
    form.request = fields(json.value("request", Json::array()), enumerations);
    form.response = json.contains("response") ? fields(json.at("response"), enumerations) : common.response;
    form.line = json.contains("line") ? templateOf(json, "line") : common.line;
    form.result = json.contains("result") ? templateOf(json, "result") : common.result;
    return form;
}

Command commandOf(const Json& json, const Enumerations& enumerations)
{
    Command command{number16(json.at("code")),
                    json.at("family").get<std::string>(),
                    json.value("no_response", false),
                    form(json, {}, enumerations),
                    {}};
    for (const Json& one : json.value("forms", Json::array())) {
        command.forms.push_back(form(one, command.common, enumerations));
    }
    return command;
}

Notification notificationOf(const Json& json, const Enumerations& enumerations)
{
    return {number16(json.at("code")), json.at("family").get<std::string>(), json.at("name").get<std::string>(),
            fields(json.at("fields"), enumerations), templateOf(json, "line")};
}

template <typename Row>
const Row* find(const std::vector<Row>& rows, std::uint16_t code)
{
    const auto row = std::ranges::lower_bound(rows, code, {}, &Row::code);
    return row != rows.end() && row->code == code ? &*row : nullptr;
}

} // namespace

Table::Table(std::string_view text)
{
    const Json json = Json::parse(text);
    for (const Json& device : json.at("devices")) {
        devices_.push_back({number16(device.at("vendor")), number16(device.at("product")),
                            device.at("report_size").get<std::size_t>()});
    }
    families_ = json.at("families").get<std::vector<std::string>>();
    for (const Json& status : json.at("statuses")) {
        statuses_.emplace_back(number16(status.at("value")), status.at("name").get<std::string>());
    }
    for (const auto& [name, values] : json.at("enumerations").items()) {
        for (const Json& value : values) {
            enumerations_[name].push_back(
                {number(value.at("value")), value.at("name").get<std::string>(), value.at("text").get<std::string>()});
        }
    }
    for (const Json& command : json.at("commands")) {
        commands_.push_back(commandOf(command, enumerations_));
    }
    for (const Json& notification : json.at("notifications")) {
        notifications_.push_back(notificationOf(notification, enumerations_));
    }
    std::ranges::sort(commands_, {}, &Command::code);
    std::ranges::sort(notifications_, {}, &Notification::code);
}

const Table& Table::builtIn()
{
    static const Table table(WIRE_PROTOCOL);
    return table;
}

const Command* Table::command(std::uint16_t code) const
{
    return find(commands_, code);
}

const Notification* Table::notification(std::uint16_t code) const
{
    return find(notifications_, code);
}

std::string_view Table::statusName(std::uint16_t status) const
{
    const auto found = std::ranges::find(statuses_, status, &std::pair<std::uint16_t, std::string>::first);
    return found == statuses_.end() ? std::string_view() : found->second;
}

} // namespace trace
