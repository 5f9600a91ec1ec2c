#include "arguments/data.hpp"

#include <cerrno>
#include <charconv>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace tool {

namespace {

bool filesRefused = false;

class Input {
public:
    Input(std::string_view what, std::string name)
        : what_(what), name_(std::move(name)), descriptor_(isStandard() ? STDIN_FILENO : open(name_.c_str(), O_RDONLY))
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
    bool isStandard() const { return std::string_view(name_) == "-"; }

    [[noreturn]] void fail() const
    {
        const std::string reason = std::generic_category().message(errno);
        throw UsageError(fmt::format("{}: {}: {}", what_, isStandard() ? "standard input" : name_, reason));
    }

    std::string_view what_;
    std::string name_;
    int descriptor_;
};

// "5" and "0x5" are one byte; other words have two digits a byte, in the order of the bytes.
void appendHex(std::string_view what, std::string_view word, Bytes& bytes)
{
    const bool prefixed = word.starts_with("0x") || word.starts_with("0X");
    const std::string_view digits = prefixed ? word.substr(2) : word;
    if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos) {
        throw UsageError(fmt::format("{}: '{}' is not hex", what, word), fmt::format("use {}", DATA_HELP));
    }
    if (digits.size() > 1 && digits.size() % 2 != 0) {
        throw UsageError(fmt::format("{}: '{}' has an odd number of hex digits", what, word));
    }
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const std::string_view pair = digits.substr(i, 2);
        std::uint8_t byte = 0;
        std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
        bytes.push_back(byte);
    }
}

} // namespace

Bytes readData(std::string_view what, const std::vector<std::string>& words, std::size_t limit, bool mayBeEmpty)
{
    Bytes bytes;
    for (const std::string& word : words) {
        if (word == "-") {
            Input(what, word).appendTo(bytes, limit);
        } else if (word.starts_with('@')) {
            if (filesRefused) {
                throw UsageError(fmt::format("{}: '{}' is a file, and --no-files refuses those", what, word));
            }
            // A file named "-" is a file: only the bare word means standard input.
            Input(what, word == "@-" ? "./-" : word.substr(1)).appendTo(bytes, limit);
        } else {
            appendHex(what, word, bytes);
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

void refuseFiles()
{
    filesRefused = true;
}

} // namespace tool
