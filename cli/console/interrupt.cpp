#include "console/interrupt.hpp"

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

#include "console/errors.hpp"
#include "console/raw_terminal.hpp"

namespace tool {

namespace {

constexpr unsigned GRACE_SECONDS = 3;

volatile std::sig_atomic_t received = 0; // number of the signal
volatile std::sig_atomic_t waits = 0;    // whether it does not count yet
int wakeUp = -1;

void onSignal(int number)
{
    if (received != 0) {
        restoreTerminal();
        _exit(128 + number);
    }
    received = number;
    const int savedErrno = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wakeUp, &one, sizeof one);
    if (waits == 0) {
        alarm(GRACE_SECONDS);
    }
    errno = savedErrno;
}

void onAlarm(int)
{
    restoreTerminal();
    _exit(128 + received);
}

} // namespace

void watchForInterrupts()
{
    wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeUp < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    struct sigaction action = {};
    action.sa_handler = onSignal;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction inherited = {};
        // A signal that the parent chose to ignore (nohup, a background job) stays ignored.
        if (sigaction(number, nullptr, &inherited) == 0 && inherited.sa_handler != SIG_IGN) {
            sigaction(number, &action, nullptr);
        }
    }
    action.sa_handler = onAlarm;
    sigaction(SIGALRM, &action, nullptr);
}

Uninterrupted::Uninterrupted()
{
    waits = 1;
}

Uninterrupted::~Uninterrupted()
{
    waits = 0;
    if (received != 0) {
        alarm(GRACE_SECONDS);
    }
}

void throwIfInterrupted()
{
    if (received != 0 && waits == 0) {
        throw Interrupted{received};
    }
}

int interruptDescriptor()
{
    return wakeUp;
}

} // namespace tool
