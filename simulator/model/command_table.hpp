// Which function executes which command. Every family enters its own commands, one row each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>

#include "commands.hpp"
#include "model/output_frame.hpp"
#include "model/request.hpp"

namespace sim {

class CommandTable {
public:
    // Reads the whole request, then acts, then fills the response; throws `Refusal`.
    using Execute = std::function<void(Request& request, OutputFrame& response)>;

    struct Row {
        Execute execute;
        std::size_t dataOffset; // where the fixed fields of the response end
    };

    // `family` is the state on which the command acts; it must outlive the table.
    template <class Family>
    void add(CommandCode code, Family& family, void (*command)(Family&, Request&, OutputFrame&),
             std::size_t dataOffset = OutputFrame::HEADER_SIZE)
    {
        const auto execute = [&family, command](Request& request, OutputFrame& response) {
            command(family, request, response);
        };
        rows_[static_cast<std::uint16_t>(code)] = Row{execute, dataOffset};
    }

    // Null when there is no such command.
    const Row* find(std::uint16_t code) const
    {
        const auto row = rows_.find(code);
        return row == rows_.end() ? nullptr : &row->second;
    }

private:
    std::map<std::uint16_t, Row> rows_;
};

} // namespace sim
