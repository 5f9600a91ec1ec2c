#include "console/report.hpp"

#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "common/terminal.hpp"

namespace tool {

void report(Output& output, const Failure& failure, std::string_view place)
{
    std::string line = "tarvix";
    if (!output.command().empty()) {
        line += " " + output.command();
    }
    if (!place.empty()) {
        line += fmt::format(": {}", place);
    }
    line += fmt::format(": {}", failure.what());
    if (!failure.advice().empty()) {
        line += fmt::format("; {}", failure.advice());
    }
    terminal::tell(line);
    Json error{{"exit", static_cast<int>(failure.exitStatus())}, {"message", failure.what()}};
    if (!failure.advice().empty()) {
        error["advice"] = failure.advice();
    }
    if (const auto* refused = dynamic_cast<const CommandFailed*>(&failure)) {
        error["status"] = refused->status().name;
        error["number"] = refused->status().number;
    }
    if (!place.empty()) {
        error["place"] = place;
    }
    output.end(error);
}

} // namespace tool
