#include "arguments/data.hpp"

#include <cerrno>
#include <charconv>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "arguments/numbers.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace tool {

namespace {

bool filesRefused = false;

class Input {
public:
    // `name` is what errors call it.
    Input(std::string_view what, int descriptor, std::string_view name)
        : what_(what), name_(name), descriptor_(descriptor)
    {
        if (descriptor_ < 0) {
            fail();
        }
    }
    ~Input()
    {
        if (descriptor_ != STDIN_FILENO) {
            ::close(descriptor_);
        }
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // Appends until the end, or until `bytes` holds more than `limit`, so that an endless file ends, too.
    void appendTo(Bytes& bytes, std::size_t limit) const
    {
        std::uint8_t buffer[65536];
        while (bytes.size() <= limit) {
            const ssize_t count = read(descriptor_, buffer, sizeof buffer);
            if (count < 0 && errno == EINTR) {
                throwIfInterrupted();
                continue;
            }
            if (count < 0) {
                fail();
            }
            if (count == 0) {
                return;
            }
            bytes.insert(bytes.end(), buffer, buffer + count);
        }
    }

private:
    [[noreturn]] void fail() const
    {
        throw UsageError(fmt::format("{}: {}: {}", what_, name_, std::generic_category().message(errno)));
    }

    std::string_view what_;
    std::string_view name_;
    int descriptor_;
};

bool isHex(std::string_view text)
{
    return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

void appendHex(std::string_view what, std::string_view word, std::string_view digits, Bytes& bytes)
{
    if (!isHex(digits) || digits.size() % 2 != 0) {
        throw UsageError(fmt::format("{}: '{}': two hex digits make a byte", what, word));
    }
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        std::from_chars(digits.data() + i, digits.data() + i + 2, bytes.emplace_back(), 16);
    }
}

// C's escapes that a message to a device needs.
void appendText(std::string_view what, std::string_view text, Bytes& bytes)
{
    constexpr std::string_view ESCAPES = "0tnre\\";
    constexpr std::string_view MEANT{"\0\t\n\r\x1B\\", ESCAPES.size()};
    while (!text.empty()) {
        std::string_view piece = text.substr(0, 1);
        if (piece != "\\") {
            bytes.push_back(static_cast<std::uint8_t>(piece.front()));
        } else if (piece = text.substr(0, 4);
                   piece.substr(1, 1) == "x" && isHex(piece.substr(2)) && piece.size() == 4) {
            appendHex(what, piece, piece.substr(2), bytes);
        } else if (piece = text.substr(0, 2); piece.size() == 2 && ESCAPES.find(piece[1]) != std::string_view::npos) {
            bytes.push_back(static_cast<std::uint8_t>(MEANT[ESCAPES.find(piece[1])]));
        } else {
            throw UsageError(fmt::format("{}: '{}' is not an escape", what, text.substr(0, 4)),
                             R"(use \r, \n, \t, \e, \0, \\ or \xHH)");
        }
        text.remove_prefix(piece.size());
    }
}

// What to write instead of a word that is not a byte.
std::string adviceFor(std::string_view word)
{
    if (word == "-") {
        return "write @- for standard input";
    }
    const bool isBareHex = isHex(word) && word.find_first_not_of("0123456789") != std::string_view::npos;
    if (isBareHex) {
        return fmt::format("write {}{}", word.size() > 2 ? "hex:" : "0x", word);
    }
    return fmt::format("use {}", DATA_HELP);
}

void appendNumber(std::string_view what, std::string_view word, Bytes& bytes)
{
    try {
        bytes.push_back(static_cast<std::uint8_t>(parseNumber(what, word, BYTE)));
    } catch (const UsageError& error) {
        throw UsageError(error.what(), adviceFor(word));
    }
}

} // namespace

Bytes readData(std::string_view what, const std::vector<std::string>& words, std::size_t limit, bool mayBeEmpty)
{
    constexpr std::string_view HEX = "hex:";
    constexpr std::string_view TEXT = "text:";
    Bytes bytes;
    for (const std::string& word : words) {
        if (word == "@-") {
            Input(what, STDIN_FILENO, "standard input").appendTo(bytes, limit);
        } else if (word.starts_with('@')) {
            requireFilesAllowed(what, word);
            Input(what, ::open(word.c_str() + 1, O_RDONLY | O_CLOEXEC), word.substr(1)).appendTo(bytes, limit);
        } else if (word.starts_with(HEX)) {
            appendHex(what, word, std::string_view(word).substr(HEX.size()), bytes);
        } else if (word.starts_with(TEXT)) {
            appendText(what, std::string_view(word).substr(TEXT.size()), bytes);
        } else {
            appendNumber(what, word, bytes);
        }
        if (bytes.size() > limit) {
            throw UsageError(fmt::format("{}: more than {} bytes", what, limit));
        }
    }
    if (bytes.empty() && !mayBeEmpty) {
        throw UsageError(fmt::format("{}: no bytes given", what), fmt::format("use {}", DATA_HELP));
    }
    return bytes;
}

Bytes readFile(std::string_view what, const std::string& name, std::size_t limit)
{
    Bytes bytes;
    if (name == "-") {
        Input(what, STDIN_FILENO, "standard input").appendTo(bytes, limit);
    } else {
        requireFilesAllowed(what, name);
        Input(what, ::open(name.c_str(), O_RDONLY | O_CLOEXEC), name).appendTo(bytes, limit);
    }
    if (bytes.empty()) {
        throw UsageError(fmt::format("{}: {} is empty", what, name));
    }
    return bytes;
}

Bytes parseText(std::string_view what, std::string_view text)
{
    Bytes bytes;
    appendText(what, text, bytes);
    return bytes;
}

void refuseFiles()
{
    filesRefused = true;
}

void requireFilesAllowed(std::string_view what, std::string_view word)
{
    if (filesRefused) {
        throw UsageError(fmt::format("{}: '{}' is a file, and --no-files refuses those", what, word));
    }
}

} // namespace tool
