#include "console/text.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include <fmt/format.h>

namespace tool {

std::string sizeText(std::uint64_t bytes)
{
    constexpr std::uint64_t KIB = 1 << 10;
    constexpr std::uint64_t MIB = 1 << 20;
    if (bytes >= MIB && bytes % MIB == 0) {
        return fmt::format("{} MiB", bytes / MIB);
    }
    return bytes >= KIB && bytes % KIB == 0 ? fmt::format("{} KiB", bytes / KIB) : fmt::format("{} bytes", bytes);
}

std::string toHex(std::span<const std::uint8_t> bytes)
{
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

std::string toHexWords(std::span<const std::uint8_t> bytes)
{
    return fmt::format("{:02x}", fmt::join(bytes, " "));
}

std::string toPrintable(std::span<const std::uint8_t> bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    }
    return text;
}

std::string hexdump(std::span<const std::uint8_t> bytes, std::uint64_t firstOffset,
                    const std::set<std::uint64_t>& absent)
{
    constexpr std::size_t ROW = 16;
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += ROW) {
        const auto row = bytes.subspan(start, std::min(ROW, bytes.size() - start));
        std::string cells = toHexWords(row);
        std::string printable = toPrintable(row);
        for (auto at = absent.lower_bound(start); at != absent.end() && *at < start + row.size(); ++at) {
            cells.replace(3 * (*at - start), 2, "XX");
            printable[*at - start] = 'X';
        }
        if (row.size() > ROW / 2) {
            cells.insert(3 * ROW / 2, 1, ' ');
        }
        text += fmt::format("{:08x}  {:<48}  |{}|\n", firstOffset + start, cells, printable);
    }
    return text;
}

} // namespace tool
