#include "help.hpp"

#include <fmt/format.h>

namespace tool {

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const
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

} // namespace tool
