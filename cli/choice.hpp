// Options that take one of a few names.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "errors.hpp"
#include "numbers.hpp"

namespace tool {

template <class T>
using Choices = std::vector<std::pair<std::string_view, T>>;

template <class T>
std::string choiceNames(const Choices<T>& choices)
{
    std::string names;
    for (const auto& [name, value] : choices) {
        names += (names.empty() ? "" : "|") + std::string(name);
    }
    return names;
}

template <class T>
T parseChoice(std::string_view what, std::string_view text, const Choices<T>& choices)
{
    for (const auto& [name, value] : choices) {
        if (name == text) {
            return value;
        }
    }
    throw UsageError(fmt::format("{}: '{}' is not one of {}", what, text, choiceNames(choices)));
}

// The name of `target`'s value is shown as the default.
template <class T>
CLI::Option* addChoice(CLI::App& app, const std::string& names, T& target, const Choices<T>& choices,
                       const std::string& description)
{
    const CLI::callback_t take = [&target, choices, what = detail::displayName(names)](const CLI::results_t& texts) {
        target = parseChoice(what, texts.back(), choices);
        return true;
    };
    CLI::Option* option = app.add_option(names, take, description)->type_name(choiceNames(choices))->expected(1);
    for (const auto& [name, value] : choices) {
        if (value == target) {
            option->default_str(std::string(name));
        }
    }
    return option;
}

} // namespace tool
