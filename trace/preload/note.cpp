#include "trace/preload/note.hpp"

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include "common/utf8.hpp"

namespace recorder {

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

// The first character of a text that is not empty, which it is taken from; bytes that are none count as one each.
char32_t takeFrom(std::string_view& text)
{
    const auto character = utf8::first(text);
    text.remove_prefix(character ? character->size : 1);
    return character ? character->point : REPLACEMENT;
}

std::size_t encode(char32_t point, char (&bytes)[4])
{
    const auto following = [&](unsigned shift) { return static_cast<char>(0x80 | (point >> shift & 0x3F)); };
    if (point < 0x80) {
        bytes[0] = static_cast<char>(point);
        return 1;
    }
    if (point < 0x800) {
        bytes[0] = static_cast<char>(0xC0 | point >> 6);
        bytes[1] = following(0);
        return 2;
    }
    if (point < 0x10000) {
        bytes[0] = static_cast<char>(0xE0 | point >> 12);
        bytes[1] = following(6);
        bytes[2] = following(0);
        return 3;
    }
    bytes[0] = static_cast<char>(0xF0 | point >> 18);
    bytes[1] = following(12);
    bytes[2] = following(6);
    bytes[3] = following(0);
    return 4;
}

} // namespace

Note::Note(std::string_view kind)
{
    put("{\"note\":");
    putString(kind);
    put("}");
}

Note& Note::add(std::string_view name, std::string_view value)
{
    if (!value.empty() && size_ + name.size() + 6 * value.size() + 8 <= text_.size()) {
        --size_;
        put(",");
        putString(name);
        put(":");
        putString(value);
        put("}");
    }
    return *this;
}

Note& Note::add(std::string_view name, unsigned value)
{
    std::array<char, 16> digits{};
    const int size = std::snprintf(digits.data(), digits.size(), ":%u}", value);
    --size_;
    put(",");
    putString(name);
    put({digits.data(), static_cast<std::size_t>(size)});
    return *this;
}

void Note::put(std::string_view text)
{
    const std::size_t size = std::min(text.size(), text_.size() - size_);
    std::copy_n(text.data(), size, text_.data() + size_);
    size_ += size;
}

// ASCII, whatever the text is.
void Note::putString(std::string_view text)
{
    put("\"");
    while (!text.empty()) {
        const char32_t point = takeFrom(text);
        const auto c = static_cast<char>(point);
        std::array<char, 16> escaped{};
        if (point >= 0x20 && point < 0x7F && c != '"' && c != '\\') {
            put({&c, 1});
            continue;
        }
        const unsigned units[] = {static_cast<unsigned>(0xD800 + ((point - 0x10000) >> 10)),
                                  static_cast<unsigned>(0xDC00 + (point & 0x3FF))};
        const int size = point < 0x10000
                             ? std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(point))
                             : std::snprintf(escaped.data(), escaped.size(), "\\u%04x\\u%04x", units[0], units[1]);
        put({escaped.data(), static_cast<std::size_t>(size)});
    }
    put("\"");
}

std::size_t stringDescriptor(std::string_view text, std::span<std::uint8_t, 255> descriptor)
{
    std::size_t size = 2;
    while (!text.empty() && size + 4 <= descriptor.size()) {
        const char32_t point = takeFrom(text);
        const bool pair = point >= 0x10000;
        const std::uint16_t units[] = {static_cast<std::uint16_t>(pair ? 0xD800 + ((point - 0x10000) >> 10) : point),
                                       static_cast<std::uint16_t>(0xDC00 + (point & 0x3FF))};
        for (const std::uint16_t unit : std::span(units, pair ? 2 : 1)) {
            descriptor[size++] = static_cast<std::uint8_t>(unit & 0xFF);
            descriptor[size++] = static_cast<std::uint8_t>(unit >> 8);
        }
    }
    descriptor[0] = static_cast<std::uint8_t>(size);
    descriptor[1] = 3; // its type
    return size;
}

void toUtf8(const wchar_t* text, std::span<char> buffer)
{
    std::size_t size = 0;
    char bytes[4];
    for (; text && *text; ++text) {
        const std::size_t count =
            encode(static_cast<char32_t>(*text) > 0x10FFFF ? REPLACEMENT : static_cast<char32_t>(*text), bytes);
        if (size + count >= buffer.size()) {
            break;
        }
        std::copy_n(bytes, count, buffer.data() + size);
        size += count;
    }
    buffer[size] = '\0';
}

} // namespace recorder
