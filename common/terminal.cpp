#include "common/terminal.hpp"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "common/utf8.hpp"

namespace terminal {

namespace {

bool sigpipeWasIgnored = false;

bool isControl(char32_t point)
{
    return point < 0x20 || (point >= 0x7F && point < 0xA0);
}

// U+2028 and U+2029 end lines, the others reorder what is around them.
bool isDirection(char32_t point)
{
    return point == 0x061C || point == 0x200E || point == 0x200F || (point >= 0x2028 && point <= 0x202E) ||
           (point >= 0x2066 && point <= 0x2069);
}

} // namespace

void secureStandardStreams()
{
    // The stand-ins refuse what the closed ones would have refused, and programs that we start do not get them.
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            ::open("/dev/null", (descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) | O_CLOEXEC);
        }
    }
    sigpipeWasIgnored = std::signal(SIGPIPE, SIG_IGN) == SIG_IGN;
}

bool inheritedIgnoredSigpipe()
{
    return sigpipeWasIgnored;
}

bool isHarmless(char32_t point)
{
    return !isControl(point) && !isDirection(point);
}

std::string printable(std::string_view text)
{
    std::string safe;
    safe.reserve(text.size());
    while (!text.empty()) {
        const auto character = utf8::first(text);
        const std::size_t size = character ? character->size : 1;
        if (!character || !isHarmless(character->point)) {
            safe += '.';
        } else {
            safe += text.substr(0, size);
        }
        text.remove_prefix(size);
    }
    return safe;
}

void tell(std::string_view line) noexcept
{
    try {
        writeError(printable(line) + '\n');
    } catch (const std::exception&) {
        writeError("out of memory\n");
    }
}

void writeError(std::string_view text) noexcept
{
    while (!text.empty()) {
        const auto count = ::write(STDERR_FILENO, text.data(), text.size());
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EAGAIN) {
            pollfd writable{STDERR_FILENO, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else if (count == 0 || errno != EINTR) {
            return;
        }
    }
}

} // namespace terminal
