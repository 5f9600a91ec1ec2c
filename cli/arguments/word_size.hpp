// Data as numbers of several bytes: --word and --order.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "arguments/data.hpp"
#include "arguments/options.hpp"

namespace tool {

enum class ByteOrder { BIG, LITTLE };

struct WordOptions {
    std::optional<unsigned> bytes; // of a word; empty for plain bytes
    std::optional<ByteOrder> order;

    std::size_t size() const { return bytes.value_or(1); }
};

// `purpose` is what --word does.
void addWordOptions(CLI::App& app, WordOptions& options, const char* purpose);

// Throws UsageError for an order of single bytes.
void requireWords(const WordOptions& options);

// As readData does; with --word each of `words` is a number of that size.
Bytes readWords(std::string_view what, const std::vector<std::string>& words, std::size_t limit,
                const WordOptions& options);

// The numbers that the bytes are, which are whole words.
std::vector<std::uint64_t> toNumbers(std::span<const std::uint8_t> bytes, const WordOptions& options);

// "0x4b00"
std::string wordText(std::uint64_t number, const WordOptions& options);

} // namespace tool
