// Text of notes and descriptors, in memory of fixed size.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace recorder {

// One JSON object. What does not fit is left out.
class Note {
public:
    explicit Note(std::string_view kind);

    // Nothing for an empty value.
    Note& add(std::string_view name, std::string_view value);
    Note& add(std::string_view name, unsigned value);

    std::string_view text() const { return {text_.data(), size_}; }

private:
    void put(std::string_view text);
    void putString(std::string_view text);

    std::array<char, 4096> text_;
    std::size_t size_ = 0;
};

// A USB string descriptor of UTF-8 text, cut where it is too long for one; returns its size.
std::size_t stringDescriptor(std::string_view text, std::span<std::uint8_t, 255> descriptor);

// UTF-8 of a wide string, cut to the buffer, with a zero byte.
void toUtf8(const wchar_t* text, std::span<char> buffer);

} // namespace recorder
