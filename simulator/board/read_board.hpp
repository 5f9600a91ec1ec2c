// Reads board files: docs/board.md is their description, board.schema.json their schema.
#pragma once

#include <filesystem>
#include <string_view>

#include "board/board.hpp"
#include "board/document.hpp"

namespace sim {

// Throws BoardError, also when the file cannot be read.
Board readBoard(const std::filesystem::path& file);
Board parseBoard(const std::filesystem::path& file, std::string_view text);

// The board file of an adapter for which nobody names one.
std::string defaultBoardText();
Board defaultBoard();

} // namespace sim
