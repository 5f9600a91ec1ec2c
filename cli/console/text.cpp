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

std::string hexdump(std::span<const std::uint8_t> bytes, std::uint64_t firstOffset)
{
    constexpr std::size_t ROW = 16;
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += ROW) {
        const auto row = bytes.subspan(start, std::min(ROW, bytes.size() - start));
        const auto left = row.first(std::min(row.size(), ROW / 2));
        const auto right = row.subspan(left.size());
        text += fmt::format("{:08x}  {:<23}  {:<23}  |{}|\n", firstOffset + start, toHexWords(left), toHexWords(right),
                            toPrintable(row));
    }
    return text;
}

} // namespace tool
