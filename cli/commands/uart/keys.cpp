#include "commands/uart/keys.hpp"

#include <utility>

namespace tool {

namespace {

constexpr std::uint8_t CR = '\r';
constexpr std::uint8_t LF = '\n';

constexpr std::uint8_t control(char letter)
{
    return static_cast<std::uint8_t>(letter & 0x1F);
}

std::string_view text(SentLineEnd end)
{
    return end == SentLineEnd::CR ? "\r" : end == SentLineEnd::LF ? "\n" : "\r\n";
}

} // namespace

Bytes withLineEnds(std::span<const std::uint8_t> input, char end, SentLineEnd wanted)
{
    Bytes bytes;
    for (const std::uint8_t byte : input) {
        if (byte == static_cast<std::uint8_t>(end) && wanted != SentLineEnd::AS_IS) {
            const std::string_view replacement = text(wanted);
            bytes.insert(bytes.end(), replacement.begin(), replacement.end());
        } else {
            bytes.push_back(byte);
        }
    }
    return bytes;
}

Bytes LineEndReader::add(std::span<const std::uint8_t> bytes)
{
    if (replaced_ == ReceivedLineEnd::CR) {
        return withLineEnds(bytes, '\r', SentLineEnd::LF);
    }
    Bytes read;
    for (const std::uint8_t byte : bytes) {
        if (std::exchange(held_, replaced_ == ReceivedLineEnd::CRLF && byte == CR) && byte != LF) {
            read.push_back(CR);
        }
        if (!held_) {
            read.push_back(byte);
        }
    }
    return read;
}

Bytes LineEndReader::end()
{
    return std::exchange(held_, false) ? Bytes{CR} : Bytes{};
}

Keys::Typed Keys::add(std::span<const std::uint8_t> typed)
{
    constexpr std::uint8_t ESCAPE = control('a');
    Typed result;
    for (const std::uint8_t key : typed) {
        if (!std::exchange(escaped_, false)) {
            escaped_ = key == ESCAPE;
            if (!escaped_) {
                result.bytes.push_back(key);
            }
        } else if (key == ESCAPE) {
            result.bytes.push_back(key);
        } else if (key == control('x')) {
            result.action = Action::LEAVE;
            return result;
        } else {
            result.action = Action::HELP;
        }
    }
    return result;
}

} // namespace tool
