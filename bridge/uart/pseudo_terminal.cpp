#include "uart/pseudo_terminal.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace bridge {

PseudoTerminal::PseudoTerminal(const tool::LineOptions& line)
    : controlling_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK), "making a pseudo-terminal"),
      openings_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "inotify")
{
    const int own = controlling_.get();
    char name[64];
    int packets = 1; // they tell of flushing
    if (grantpt(own) != 0 || unlockpt(own) != 0 || ptsname_r(own, name, sizeof name) != 0 ||
        ioctl(own, TIOCPKT, &packets) != 0) {
        throw std::system_error(errno, std::generic_category(), "making a pseudo-terminal");
    }
    path_ = name;
    const FileDescriptor programs(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC), path_);
    makeRaw(programs.get());
    setTerminal(programs.get(), line);
    if (inotify_add_watch(openings_.get(), name, IN_OPEN) < 0) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
}

void PseudoTerminal::forgetOpenings() const
{
    alignas(inotify_event) char events[1024];
    while (::read(openings_.get(), events, sizeof events) > 0) {
    }
}

bool PseudoTerminal::isOpen() const
{
    pollfd asked{controlling_.get(), 0, 0};
    return poll(&asked, 1, 0) <= 0 || (asked.revents & POLLHUP) == 0;
}

PseudoTerminal::Written PseudoTerminal::read(std::span<std::uint8_t> buffer) const
{
    const ssize_t count = ::read(controlling_.get(), buffer.data(), buffer.size());
    if (count <= 0) {
        return {count < 0 && errno == EIO ? Written::CLOSED : Written::NOTHING, {}};
    }
    // The first byte says what the others are; anything but data stands alone.
    if (buffer[0] == TIOCPKT_DATA) {
        return {Written::BYTES, buffer.subspan(1, static_cast<std::size_t>(count) - 1)};
    }
    return {(buffer[0] & TIOCPKT_FLUSHREAD) != 0 ? Written::FLUSHED : Written::BYTES, {}};
}

std::size_t PseudoTerminal::waiting() const
{
    int count = 0;
    ioctl(controlling_.get(), FIONREAD, &count);
    return static_cast<std::size_t>(count);
}

void PseudoTerminal::clear() const
{
    // Only the programs' side can do it. What does not open has been made exclusive.
    if (const int programs = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK); programs >= 0) {
        tcflush(programs, TCIFLUSH);
        close(programs);
    }
    forgetOpenings();
}

std::size_t PseudoTerminal::write(std::span<const std::uint8_t> bytes) const
{
    return static_cast<std::size_t>(std::max<ssize_t>(::write(controlling_.get(), bytes.data(), bytes.size()), 0));
}

} // namespace bridge
