// Columns of numbers from a CSV file.
#pragma once

#include <string>
#include <vector>

#include "board/document.hpp"

namespace sim {

// The file beside the board file that `node` names, row by row, of each row the columns with these names. The first
// line of the file has the names. Refuses what is no number, with its line.
std::vector<double> readCsv(const Node& node, const std::vector<std::string>& columns);

} // namespace sim
