// Bytes as they are printed.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>

namespace tool {

// "256 bytes", "64 KiB", "1 MiB".
std::string sizeText(std::uint64_t bytes);

// "0a1b": how bytes appear in JSON.
std::string toHex(std::span<const std::uint8_t> bytes);

// "0a 1b": how a few bytes appear in a line of text.
std::string toHexWords(std::span<const std::uint8_t> bytes);

// Printable ASCII as it is, everything else as a dot.
std::string toPrintable(std::span<const std::uint8_t> bytes);

// Offsets, sixteen bytes and their text a line, as `hexdump -C` prints them. Those at the positions `absent` could not
// be had: XX.
std::string hexdump(std::span<const std::uint8_t> bytes, std::uint64_t firstOffset = 0,
                    const std::set<std::uint64_t>& absent = {});

} // namespace tool
