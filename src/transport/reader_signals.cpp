#include "transport/reader_signals.hpp"

#include <pthread.h>

namespace {

// Raised by a fault of the thread itself: blocked, they would end the program without its crash handler.
constexpr int FAULTS[]{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT};

thread_local const sigset_t* applicationMask = nullptr; // null on threads that are no readers

} // namespace

SignalsBlocked::SignalsBlocked()
{
    sigset_t mask;
    sigfillset(&mask);
    for (const int fault : FAULTS) {
        sigdelset(&mask, fault);
    }
    pthread_sigmask(SIG_SETMASK, &mask, &before_);
}

SignalsBlocked::~SignalsBlocked()
{
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void setApplicationSignals(const sigset_t& mask)
{
    applicationMask = &mask;
}

ApplicationSignals::ApplicationSignals()
{
    pthread_sigmask(SIG_SETMASK, applicationMask, &readers_);
}

ApplicationSignals::~ApplicationSignals()
{
    pthread_sigmask(SIG_SETMASK, &readers_, nullptr);
}
