// What --help prints.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace tool {

// CLI11's layout, with a default in brackets and no notes that repeat what the usage line says.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_opts(const CLI::Option* option) const override;
};

} // namespace tool
