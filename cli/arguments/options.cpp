#include "arguments/options.hpp"

#include <utility>

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

namespace tool {

namespace {

// "-n,--count" is "--count" to a user.
std::string displayName(std::string_view names)
{
    return std::string(names.substr(names.rfind(',') + 1));
}

class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool positional) const override
    {
        return positional && !option->get_option_text().empty() ? option->get_option_text()
                                                                : Formatter::make_option_name(option, positional);
    }

    std::string make_option_usage(const CLI::Option* option) const override
    {
        const std::string name = make_option_name(option, true) + (option->get_expected_max() > 1 ? "..." : "");
        return option->get_required() ? name : "[" + name + "]";
    }

    std::string make_option_opts(const CLI::Option* option) const override
    {
        std::string text;
        if (option->get_type_size() != 0 && option->nonpositional()) {
            text += " " + option->get_type_name();
        }
        if (!option->get_default_str().empty()) {
            text += fmt::format(" [{}]", option->get_default_str());
        }
        if (!option->get_envname().empty()) {
            text += fmt::format(" [${}]", option->get_envname());
        }
        return text;
    }
};

} // namespace

AddedOption& AddedOption::required()
{
    option_.required()->default_str("");
    return *this;
}

AddedOption& AddedOption::words(int least, int most)
{
    option_.expected(least, most);
    return *this;
}

AddedOption& AddedOption::separatedBy(char delimiter)
{
    option_.delimiter(delimiter);
    return *this;
}

AddedOption& AddedOption::valueName(const char* name)
{
    option_.get_positional() ? option_.option_text(name) : option_.type_name(name);
    return *this;
}

AddedOption& AddedOption::orFromVariable(const char* variable)
{
    option_.envname(variable);
    return *this;
}

AddedOption addFlag(CLI::App& app, const char* names, bool& target, const char* description)
{
    return AddedOption(*app.add_flag(names, target, description));
}

AddedOption addText(CLI::App& app, const char* names, std::string& target, const std::string& description)
{
    return detail::addParsed(app, names, "TEXT", {}, description,
                             [&target](std::string_view, const std::string& word) { target = word; });
}

AddedOption addText(CLI::App& app, const char* names, std::optional<std::string>& target,
                    const std::string& description)
{
    return detail::addParsed(app, names, "TEXT", {}, description,
                             [&target](std::string_view, const std::string& word) { target = word; });
}

AddedOption addTexts(CLI::App& app, const char* names, std::vector<std::string>& target, const std::string& description)
{
    return detail::addParsed(
        app, names, "TEXT", {}, description,
        [&target](std::string_view, const std::string& word) { target.push_back(word); }, detail::Words::MANY);
}

AddedOption detail::addParsed(CLI::App& app, const char* names, const std::string& valueName,
                              const std::string& defaultText, const std::string& description, Take take, Words words)
{
    const CLI::callback_t takeAll = [take = std::move(take), what = displayName(names)](const CLI::results_t& given) {
        for (const std::string& word : given) {
            take(what, word);
        }
        return true;
    };
    CLI::Option* const option = app.add_option(names, takeAll, description);
    option->type_name(valueName)->default_str(defaultText);
    option->expected(words == Words::ONE ? 1 : CLI::detail::expected_max_vector_size);
    return AddedOption(*option);
}

std::shared_ptr<CLI::FormatterBase> helpFormatter()
{
    return std::make_shared<HelpFormatter>();
}

} // namespace tool
