// Adding options and arguments to a command. It hides the parser's own headers, which cost seconds in every unit
// that includes them.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "arguments/choices.hpp"
#include "arguments/numbers.hpp"

namespace CLI {
class App;
class FormatterBase;
class Option;
} // namespace CLI

namespace tool {

// An option ("-n,--count") or a positional argument ("PIN") that was added, for what not every one of them has.
class AddedOption {
public:
    explicit AddedOption(CLI::Option& option) : option_(option) {}

    // Must be given, so that its target's value is no default.
    AddedOption& required();

    // How many words it takes.
    AddedOption& words(int least, int most);

    // One word may hold several values.
    AddedOption& separatedBy(char delimiter);

    // What help calls the value.
    AddedOption& valueName(const char* name);

    // Taken from this environment variable when it is not given.
    AddedOption& orFromVariable(const char* variable);

private:
    CLI::Option& option_;
};

// Targets must live as long as the command.
AddedOption addFlag(CLI::App& app, const char* names, bool& target, const char* description);
AddedOption addText(CLI::App& app, const char* names, std::string& target, const std::string& description);
AddedOption addText(CLI::App& app, const char* names, std::optional<std::string>& target,
                    const std::string& description);
AddedOption addTexts(CLI::App& app, const char* names, std::vector<std::string>& target,
                     const std::string& description);

namespace detail {

// `take` gets the option's name as a user knows it ("--count") and each word. It throws what is wrong.
using Take = std::function<void(std::string_view what, const std::string& word)>;

enum class Words { ONE, MANY };

AddedOption addParsed(CLI::App& app, const char* names, const std::string& valueName, const std::string& defaultText,
                      const std::string& description, Take take, Words words = Words::ONE);

template <class T>
struct Plain {
    using type = T;
};
template <class T>
struct Plain<std::optional<T>> {
    using type = T;
};

template <class T>
std::string defaultText(const T& value)
{
    return std::to_string(value);
}
inline std::string defaultText(const Given& given)
{
    return given.text;
}
inline std::string defaultText(std::chrono::milliseconds period)
{
    return std::to_string(period.count());
}
template <class T>
std::string defaultText(const std::optional<T>& value)
{
    return value ? defaultText(*value) : std::string();
}

template <class T, class Value>
T taken(Value value, const std::string& word)
{
    if constexpr (std::is_same_v<T, Given>) {
        return {value, word};
    } else {
        return static_cast<T>(value);
    }
}

// `parse` takes what addParsed's `take` does, and a range.
template <class T, class Parse>
AddedOption addQuantity(CLI::App& app, const char* names, const char* valueName, T& target, Range range,
                        const std::string& description, Parse parse)
{
    return addParsed(app, names, valueName, defaultText(target), description,
                     [&target, range, parse](std::string_view what, const std::string& word) {
                         target = taken<typename Plain<T>::type>(parse(what, word, range), word);
                     });
}

} // namespace detail

// Each of these: `target` is a value (a Given, to have its text for errors), which is shown as the default, or an
// optional one, which stays as it is when the option is absent: empty, as a rule. Help names the unit that a plain
// number has.
template <class T>
AddedOption addNumber(CLI::App& app, const char* names, T& target, Range range, const std::string& description)
{
    return detail::addQuantity(app, names, "NUMBER", target, range, description, parseNumber);
}
template <class T>
AddedOption addSize(CLI::App& app, const char* names, T& target, Range range, const std::string& description)
{
    return detail::addQuantity(app, names, "BYTES", target, range, description, parseSize);
}
template <class T>
AddedOption addFrequency(CLI::App& app, const char* names, T& target, Range range, const std::string& description)
{
    return detail::addQuantity(app, names, "HZ", target, range, description, parseFrequency);
}
template <class T>
AddedOption addPeriod(CLI::App& app, const char* names, T& target, Range range, const std::string& description)
{
    return detail::addQuantity(app, names, "MS", target, range, description, parsePeriod);
}

// One or more numbers, each a word.
template <class T>
AddedOption addNumbers(CLI::App& app, const char* names, std::vector<T>& target, Range range,
                       const std::string& description)
{
    return detail::addParsed(
        app, names, "NUMBER", {}, description,
        [&target, range](std::string_view what, const std::string& word) {
            target.push_back(detail::taken<T>(parseNumber(what, word, range), word));
        },
        detail::Words::MANY);
}

// The name of `target`'s value is shown as the default. `choices` must live as long as the command.
template <class T>
AddedOption addChoice(CLI::App& app, const char* names, T& target, const Choices<T>& choices,
                      const std::string& description)
{
    return detail::addParsed(app, names, choiceNames(choices), std::string(choiceName(choices, target)), description,
                             [&target, &choices](std::string_view what, const std::string& word) {
                                 target = parseChoice(what, word, choices);
                             });
}

// How --help shows options: a default in brackets, and no notes that repeat what the usage line says.
std::shared_ptr<CLI::FormatterBase> helpFormatter();

} // namespace tool
