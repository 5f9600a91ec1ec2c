// The variables of a batch: text that later lines use as ${NAME}.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "console/output.hpp"

namespace tool {

class Variables {
public:
    // "NAME=VALUE". VALUE is text, text:TEXT, match:REGEX (what it finds in the printed text, or its first group) or
    // json:POINTER (a value of the printed object), in which variables are expanded. Returns the name. Throws
    // UsageError for what is none of these, Failure when `printed` has no such value. Without any (null), the value is
    // one that cannot be known, which is a Failure now and wherever it is used.
    std::string set(std::string_view assignment, const Printed* printed);

    const std::string& operator[](const std::string& name) const { return *values_.at(name); }

    // Each ${NAME} replaced; $${ is ${. Throws UsageError for a name that is not set.
    std::string expand(std::string_view word) const;

private:
    std::string evaluate(std::string_view value, const Printed* printed) const;

    std::map<std::string, std::optional<std::string>> values_; // empty for what cannot be known
};

// What `pattern` (ECMAScript) finds first in a line of the text, or its first group if it has one. Throws UsageError
// for what is no pattern, Failure when no line matches.
std::string findInLines(std::string_view what, const std::string& pattern, const std::string& text);

} // namespace tool
