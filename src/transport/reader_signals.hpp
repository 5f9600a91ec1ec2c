// Signals belong to the application's threads. A reader thread takes none while it reads, where they would end a read
// early; while it runs one of the application's handlers it has the mask that the application gave it, so that threads
// and processes started there inherit nothing of ours.
#pragma once

#include <functional>
#include <utility>

#include <signal.h>

// While it lives, the calling thread blocks every signal but those that a fault of its own raises; a thread started
// meanwhile inherits that.
class SignalsBlocked {
public:
    SignalsBlocked();
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

    // The mask from before.
    const sigset_t& before() const { return before_; }

private:
    sigset_t before_;
};

// Tells a reader thread, at its start, the application's mask, which must outlive it.
void setApplicationSignals(const sigset_t& mask);

// While it lives, the calling thread has the application's mask: a reader the one that it was told, any other its own.
class ApplicationSignals {
public:
    ApplicationSignals();
    ~ApplicationSignals();
    ApplicationSignals(const ApplicationSignals&) = delete;
    ApplicationSignals& operator=(const ApplicationSignals&) = delete;

private:
    sigset_t readers_;
};

// The same handler, run with the application's mask. An empty one stays empty.
template <typename... Arguments>
std::function<void(Arguments...)> withApplicationSignals(std::function<void(Arguments...)> handler)
{
    if (!handler) {
        return handler;
    }
    return [handler = std::move(handler)](Arguments... arguments) {
        const ApplicationSignals signals;
        handler(arguments...);
    };
}
