#include "console/raw_terminal.hpp"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <termios.h>
#include <unistd.h>

#include "common/terminal.hpp"

namespace tool {

namespace {

constexpr int DEADLY[] = {SIGQUIT, SIGABRT, SIGSEGV};

termios former;
volatile std::sig_atomic_t isRaw = 0;

void onDeadlySignal(int number)
{
    restoreTerminal();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

} // namespace

RawTerminal::RawTerminal(bool rawOutput)
{
    if (tcgetattr(STDIN_FILENO, &former) != 0) {
        throw std::system_error(errno, std::generic_category(), "standard input");
    }
    termios raw = former;
    cfmakeraw(&raw);
    if (!rawOutput) {
        raw.c_oflag = former.c_oflag;
    }
    for (const int number : DEADLY) {
        std::signal(number, onDeadlySignal);
    }
    isRaw = 1;
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

RawTerminal::~RawTerminal()
{
    restoreTerminal();
    for (const int number : DEADLY) {
        std::signal(number, SIG_DFL);
    }
    terminal::writeError("\n");
}

void restoreTerminal() noexcept
{
    if (isRaw != 0) {
        isRaw = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &former);
    }
}

} // namespace tool
