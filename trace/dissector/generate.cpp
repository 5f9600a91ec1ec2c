// Writes the dissector: its text with the table in it, as Lua.
//   dissector_generator TABLE TEXT OUTPUT
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

std::string contents(const char* path)
{
    std::ifstream file(path);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file || text.empty()) {
        throw std::runtime_error(fmt::format("{}: cannot be read", path));
    }
    return text;
}

std::string quoted(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        result += c >= ' ' && c <= '~' && c != '"' && c != '\\' ? std::string(1, c)
                                                                : fmt::format("\\{:03}", static_cast<unsigned char>(c));
    }
    return '"' + result + '"';
}

// Numbers that the table has as texts become numbers: "0x0905".
std::string lua(const json& value)
{
    switch (value.type()) {
    case json::value_t::string: {
        const auto& text = value.get_ref<const std::string&>();
        const bool isNumber =
            text.starts_with("0x") && text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
        return isNumber ? text : quoted(text);
    }
    case json::value_t::array: {
        std::string text;
        for (const json& item : value) {
            text += lua(item) + ", ";
        }
        return "{" + text + "}";
    }
    case json::value_t::object: {
        std::string text;
        for (const auto& [name, item] : value.items()) {
            text += fmt::format("[{}] = {}, ", quoted(name), lua(item));
        }
        return "{" + text + "}";
    }
    default:
        return value.dump();
    }
}

const std::map<std::string, int> WIDTHS = {{"u8", 1}, {"u16", 2}, {"u16be", 2}, {"u32", 4}};

// Fields of one name in one family are one field of a display filter, as wide as the widest of them. Its type must fit
// all of them.
class FieldTypes {
public:
    void add(const std::string& family, const json& fields)
    {
        for (const json& field : fields) {
            const std::string name = fmt::format("{}.{}", family, field["name"].get<std::string>());
            const std::string type = field["type"];
            const auto width = WIDTHS.find(type);
            const std::string kind = width == WIDTHS.end() ? type : "integer";
            if (const auto known = kinds_.try_emplace(name, kind).first; known->second != kind) {
                throw std::runtime_error(fmt::format("{} is both {} and {}", name, known->second, kind));
            }
            if (width != WIDTHS.end()) {
                widths_[name] = std::max(widths_[name], width->second);
            }
            add(family, field.value("fields", json::array()));
        }
    }

    json widths() const { return widths_; }

private:
    std::map<std::string, std::string> kinds_;
    std::map<std::string, int> widths_;
};

void addForm(FieldTypes& types, const std::string& family, const json& form)
{
    for (const char* fields : {"request", "response", "fields"}) {
        types.add(family, form.value(fields, json::array()));
    }
    for (const json& inner : form.value("forms", json::array())) {
        addForm(types, family, inner);
    }
}

std::string withWidths(json table)
{
    FieldTypes types;
    for (const char* list : {"commands", "notifications"}) {
        for (const json& entry : table[list]) {
            addForm(types, entry["family"], entry);
        }
    }
    table["widths"] = types.widths();
    return lua(table);
}

void generate(char** arguments)
{
    const std::string placeholder = "@TABLE@";
    std::string text = contents(arguments[2]);
    text.replace(text.find(placeholder), placeholder.size(), withWidths(json::parse(contents(arguments[1]))));
    std::ofstream file(arguments[3]);
    if (!(file << text).flush()) {
        throw std::runtime_error(fmt::format("{}: cannot be written", arguments[3]));
    }
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 4) {
        std::cerr << "usage: dissector_generator TABLE TEXT OUTPUT\n";
        return 2;
    }
    try {
        generate(arguments);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "dissector_generator: " << error.what() << '\n';
        return 1;
    }
}
