// Bytes as tests write and damage them.
#pragma once

#include <cstdint>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// "05 09 FF" as bytes; ends at the first word that is none.
inline Bytes hex(const std::string& text)
{
    std::istringstream stream(text);
    Bytes bytes;
    for (unsigned byte = 0; stream >> std::hex >> byte;) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return bytes;
}

// The way back.
inline std::string hexOf(const Bytes& bytes)
{
    constexpr const char* DIGITS = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : " ";
        text += {DIGITS[byte >> 4], DIGITS[byte & 15]};
    }
    return text;
}

// 1, 2, 3, ... so that a byte in the wrong place shows.
inline Bytes counting(std::size_t size)
{
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

template <typename Item>
std::vector<Item> operator+(std::vector<Item> first, const std::vector<Item>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

template <typename Item>
std::vector<Item> part(const std::vector<Item>& items, std::size_t begin, std::size_t end)
{
    return {items.begin() + static_cast<std::ptrdiff_t>(begin), items.begin() + static_cast<std::ptrdiff_t>(end)};
}

inline Bytes padded(Bytes bytes, std::size_t size)
{
    bytes.resize(size);
    return bytes;
}
