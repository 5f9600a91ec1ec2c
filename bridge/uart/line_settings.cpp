#include "uart/line_settings.hpp"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

// Not <termios.h>, which knows no rate but those that have a name.
#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace bridge {

namespace {

constexpr struct {
    tcflag_t name;
    tool::Baud baud;
} RATES[] = {
    {B1200, {UartBaudRate::BAUD_1200, 1200}},       {B2400, {UartBaudRate::BAUD_2400, 2400}},
    {B4800, {UartBaudRate::BAUD_4800, 4800}},       {B9600, {UartBaudRate::BAUD_9600, 9600}},
    {B19200, {UartBaudRate::BAUD_19200, 19200}},    {B38400, {UartBaudRate::BAUD_38400, 38400}},
    {B57600, {UartBaudRate::BAUD_57600, 57600}},    {B115200, {UartBaudRate::BAUD_115200, 115200}},
    {B230400, {UartBaudRate::BAUD_230400, 230400}}, {B460800, {UartBaudRate::BAUD_460800, 460800}},
    {B921600, {UartBaudRate::BAUD_921600, 921600}},
};

termios2 attributes(int terminal)
{
    termios2 result{};
    if (ioctl(terminal, TCGETS2, &result) < 0) {
        throw std::system_error(errno, std::generic_category(), "reading the terminal's settings");
    }
    return result;
}

void setAttributes(int terminal, const termios2& wanted)
{
    if (ioctl(terminal, TCSETS2, &wanted) < 0) {
        throw std::system_error(errno, std::generic_category(), "changing the terminal's settings");
    }
}

void setFlag(tcflag_t& flags, tcflag_t flag, bool wanted)
{
    flags = wanted ? flags | flag : flags & ~flag;
}

} // namespace

TerminalSettings settingsOf(const tool::LineOptions& line)
{
    return {.rate = line.baud.rate,
            .twoStopBits = line.stop == UartStopBit::TWO,
            .rtsCts = line.handshake == UartHwHandshake::ENABLED};
}

TerminalSettings terminalSettings(int terminal)
{
    const termios2 now = attributes(terminal);
    return {.rate = now.c_ospeed, .twoStopBits = (now.c_cflag & CSTOPB) != 0, .rtsCts = (now.c_cflag & CRTSCTS) != 0};
}

void setTerminal(int terminal, const tool::LineOptions& line)
{
    termios2 wanted = attributes(terminal);
    const auto* const known = std::ranges::find_if(RATES, [&](const auto& each) { return each.baud == line.baud; });
    wanted.c_cflag &= ~static_cast<tcflag_t>(CBAUD | CBAUD << IBSHIFT);
    wanted.c_cflag |= known->name;
    setFlag(wanted.c_cflag, CSTOPB, line.stop == UartStopBit::TWO);
    setFlag(wanted.c_cflag, CRTSCTS, line.handshake == UartHwHandshake::ENABLED);
    setAttributes(terminal, wanted);
}

void makeRaw(int terminal)
{
    termios2 wanted = attributes(terminal);
    wanted.c_iflag = 0;
    wanted.c_oflag = 0;
    wanted.c_lflag = 0;
    wanted.c_cc[VMIN] = 1;
    wanted.c_cc[VTIME] = 0;
    setAttributes(terminal, wanted);
}

tool::LineOptions follow(tool::LineOptions line, const TerminalSettings& terminal)
{
    const auto* const known =
        std::ranges::find_if(RATES, [&](const auto& each) { return each.baud.rate == terminal.rate; });
    if (known != std::end(RATES)) {
        line.baud = known->baud;
    }
    line.stop = terminal.twoStopBits ? UartStopBit::TWO : UartStopBit::ONE;
    line.handshake = terminal.rtsCts ? UartHwHandshake::ENABLED : UartHwHandshake::DISABLED;
    return line;
}

} // namespace bridge
