#include "commands/batch/lines.hpp"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace tool {

namespace {

constexpr std::size_t LONGEST_LINE = 1 << 20; // bytes

// A batch on standard input takes it away from its commands, for which it is empty.
std::FILE* takeStandardInput()
{
    const int input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    const int empty = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(empty, STDIN_FILENO);
    ::close(empty);
    std::FILE* const stream = input < 0 ? nullptr : fdopen(input, "r");
    if (stream == nullptr) {
        errno = EBADF; // closed, and occupied since by something that cannot be read
    }
    return stream;
}

} // namespace

Lines Lines::ofFile(const std::string& path)
{
    return {path, std::fopen(path.c_str(), "re")};
}

Lines Lines::ofStandardInput()
{
    return {"standard input", takeStandardInput()};
}

Lines::Lines(std::string name, std::FILE* stream) : name_(std::move(name)), stream_(stream, std::fclose)
{
    if (!stream_) {
        fail();
    }
}

std::optional<std::string> Lines::next()
{
    ++number_;
    std::string line;
    errno = 0;
    int c;
    while ((c = std::getc(stream_.get())) != EOF && c != '\n') {
        if (line.size() == LONGEST_LINE) {
            throw UsageError(fmt::format("FILE: {}: longer than {} bytes", place(), LONGEST_LINE),
                             "put long data into a file and write @FILE");
        }
        line += static_cast<char>(c);
    }
    if (c == EOF) {
        throwIfInterrupted();
        if (std::ferror(stream_.get()) != 0) {
            fail();
        }
        if (line.empty()) {
            return std::nullopt;
        }
    }
    return line;
}

std::string Lines::place() const
{
    return fmt::format("{}:{}", name_, number_);
}

void Lines::fail() const
{
    throw UsageError(fmt::format("FILE: {}: {}", name_, std::generic_category().message(errno)));
}

} // namespace tool
