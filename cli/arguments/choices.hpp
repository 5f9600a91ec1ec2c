// Values that are one of a few names.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "console/errors.hpp"

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

// Empty for a value that has no name.
template <class T>
std::string_view choiceName(const Choices<T>& choices, const T& value)
{
    for (const auto& [name, candidate] : choices) {
        if (candidate == value) {
            return name;
        }
    }
    return {};
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

} // namespace tool
